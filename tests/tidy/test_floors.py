"""Plants violations in a small tree and demands that the checker names each of them."""

import os
import subprocess
import sys
import tempfile
import unittest

SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../scripts/floors.py")

# A tree that keeps every rule; each test adds one thing to it.
GOOD_TREE = {
    "README.md": "words\n",
    "include/README.md": "words\n",
    "include/vlpbidi.h": "#define A 1\n",
    "support/README.md": "words\n",
    "support/CMakeLists.txt": "vlp_room(support SOURCES text.cpp)\n",
    "support/text.h": '#include <vlpbidi.h>\n',
    "support/text.cpp": '#include "support/text.h"\n',
    "diag/README.md": "words\n",
    "diag/CMakeLists.txt": "vlp_room(diag SOURCES log.cpp)\n",
    "diag/log.h": "#pragma once\n",
    "diag/log.cpp": '#include <windows.h>\n\n#include "diag/log.h"\n#include "support/text.h"\n',
    "profile/README.md": "words\n",
    "profile/model.h": '#include "diag/log.h"\n',
    "simulator/README.md": "words\n",
    "simulator/printer.h": "#include <mutex>\n",
    "platform/README.md": "words\n",
    "platform/call.h": '#include "simulator/printer.h"\n#ifdef __linux__\n#endif\n',
}


class FloorsTest(unittest.TestCase):
    def check(self, extra):
        """Returns what the checker prints for the good tree with `extra` on top."""
        with tempfile.TemporaryDirectory() as root:
            for name, text in {**GOOD_TREE, **extra}.items():
                path = os.path.join(root, name)
                os.makedirs(os.path.dirname(path), exist_ok=True)
                with open(path, "w", encoding="utf-8") as file:
                    file.write(text)
            done = subprocess.run([sys.executable, "-B", SCRIPT, root], stdout=subprocess.PIPE,
                                  check=False)
        output = done.stdout.decode()
        self.assertEqual(done.returncode, 1 if output else 0, output)
        return output

    def demand(self, extra, *texts):
        output = self.check(extra)
        for text in texts:
            self.assertIn(text, output)
        self.assertEqual(len(output.splitlines()), len(texts), output)

    def test_a_tree_that_keeps_the_rules_passes(self):
        self.assertEqual(self.check({}), "")

    def test_an_include_that_runs_upward_is_found(self):
        self.demand({"support/up.h": '#include "diag/log.h"\n'},
                    "support/up.h:1: support (floor 2) may not include diag (floor 3)")

    def test_the_line_of_the_include_is_given(self):
        self.demand({"support/up.h": '// words\n\n#include "profile/model.h"\n'},
                    "support/up.h:3: support (floor 2)")

    def test_two_rooms_of_one_floor_may_not_include_each_other(self):
        self.demand({"diag/back.h": '#include "profile/model.h"\n'},
                    "diag and profile include each other")

    def test_the_product_may_not_include_the_layer_or_the_simulator(self):
        self.demand({"diag/down.h": '#include "platform/call.h"\n'
                                    '#include "simulator/printer.h"\n'},
                    "may not include platform", "may not include simulator")

    def test_the_layer_may_not_include_product_code(self):
        self.demand({"platform/peek.h": '#include "support/text.h"\n'},
                    "platform/peek.h:1: platform may not include support")

    def test_the_simulator_may_include_only_the_installed_header(self):
        self.demand({"simulator/peek.h": '#include "vlpbidi.h"\n#include "diag/log.h"\n'
                                         '#include "platform/call.h"\n'},
                    "simulator may not include diag", "simulator may not include platform")

    def test_the_monitor_sees_only_the_installed_header(self):
        self.demand({"monitor/README.md": "words\n",
                     "monitor/main.h": '#include <vlpbidi.h>\n#include "support/text.h"\n'},
                    "monitor/main.h:2: monitor may not include support")

    def test_the_system_tests_may_use_the_layer_but_no_product_code(self):
        self.demand({"tests/README.md": "", "tests/system/README.md": "",
                     "tests/system/world.h": '#include "platform/call.h"\n'
                                             '#include "diag/log.h"\n'},
                    "tests/system/world.h:2: tests/system may not include diag")

    def test_a_native_twin_may_write_files_and_still_have_no_thread(self):
        tree = {"tests/README.md": "", "tests/diag/README.md": "",
                "tests/diag/CMakeLists.txt": "vlp_test(diag SOURCES world_native.cpp world.cpp)\n"}
        text = "#include <fstream>\nstd::ofstream f;\n"
        self.assertEqual(self.check({**tree, "tests/diag/world_native.cpp": text}), "")
        self.demand({**tree, "tests/diag/world_native.cpp": text + "std::mutex m;\n"},
                    "tests/diag/world_native.cpp:3: std::mutex")
        self.demand({**tree, "tests/diag/world.cpp": text}, "<fstream>", "std::ofstream")

    def test_an_include_relative_to_its_file_is_found(self):
        self.demand({"diag/near.h": '#include "../support/text.h"\n'},
                    "includes are written from the root")

    def test_a_platform_ifdef_in_the_product_is_found(self):
        for line in ("#ifdef _WIN32", "#if defined(__linux__)", "#  ifndef WIN32",
                     "#if 0\n#elif defined(__MINGW32__)"):
            with self.subTest(line):
                self.demand({"diag/two.h": line + "\n#endif\n"}, "one source for both systems")

    def test_threads_clocks_and_files_of_the_library_are_found(self):
        for line in ("std::thread t;", "std::mutex m;", "std::condition_variable_any c;",
                     "std::chrono::seconds s;", "std::ofstream f;", "pthread_self();",
                     "std::this_thread::yield();", "fopen(name, mode);"):
            with self.subTest(line):
                self.assertIn("escapes the Windows calls", self.check({"diag/own.h": line + "\n"}))

    def test_their_headers_are_found_in_the_product_and_in_its_tests(self):
        for folder in ("diag", "tests/diag", "tests/system", "monitor"):
            for header in ("thread", "mutex", "condition_variable", "chrono", "fstream"):
                with self.subTest(folder=folder, header=header):
                    output = self.check({"tests/README.md": "", folder + "/README.md": "",
                                         folder + "/own.h": f"#include <{header}>\n"})
                    self.assertIn(f"{folder}/own.h:1: <{header}> escapes", output)

    def test_wide_literals_and_wide_characters_are_found(self):
        for line in ('f(L"x");', "f(L'x');", "wchar_t c;", "wcslen(p);", "std::wstring s;"):
            with self.subTest(line):
                self.demand({"diag/wide.h": line + "\n"}, "wide text is WCHAR")

    def test_comments_and_literals_are_no_code(self):
        self.assertEqual(self.check({
            "diag/words.h": '// std::thread, L"x", wchar_t\n/* #ifdef _WIN32\n std::mutex */\n'
                            'const char* a = "std::thread \\" wchar_t";\n'
                            'const char* b = R"(std::mutex " )";\nint c = 1\'000\'000;\n'
                            'int HTML = f(HTML"x");\n'}), "")

    def test_code_after_a_digit_separator_is_still_code(self):
        self.demand({"diag/digits.h": "int a = 1'000; std::mutex m; int b = 2'000;\n"},
                    "std::mutex escapes")

    def test_the_switches_of_the_sdk_are_found_in_sources(self):
        self.demand({"diag/switch.h": "#define NOMINMAX\n"}, "cmake/settings.cmake")

    def test_a_source_that_no_build_file_names_is_found(self):
        self.demand({"diag/lost.cpp": "int a;\n"},
                    "diag/lost.cpp:1: no CMakeLists.txt names this file")

    def test_a_source_named_only_in_a_comment_or_as_a_part_of_another_is_found(self):
        self.demand({"diag/lost.cpp": "int a;\n", "diag/alost.cpp": "int a;\n",
                     "diag/CMakeLists.txt": "# lost.cpp\nvlp_room(diag SOURCES log.cpp alost.cpp)\n"},
                    "diag/lost.cpp:1: no CMakeLists.txt names this file")

    def test_a_source_may_be_named_by_the_folder_above(self):
        self.assertEqual(self.check({
            "platform/kernel/README.md": "words\n", "platform/kernel/wait.cpp": "int a;\n",
            "platform/CMakeLists.txt": "add_library(p kernel/wait.cpp)\n"}), "")

    def test_a_source_may_be_named_by_an_included_build_file(self):
        self.assertEqual(self.check({
            "platform/wait.cpp": "int a;\n",
            "platform/waits.cmake": "target_sources(p PRIVATE ${CMAKE_CURRENT_LIST_DIR}/wait.cpp)\n"
        }), "")

    def test_a_source_may_be_named_by_a_loop_over_its_subject(self):
        tree = {"platform/CMakeLists.txt": "foreach(s file text)\n"
                                           "  add_executable(t_${s} ${s}_calls.cpp)\nendforeach()\n"}
        self.assertEqual(self.check({**tree, "platform/file_calls.cpp": "int a;\n"}), "")
        self.demand({**tree, "platform/file_answers.cpp": "int a;\n"},
                    "platform/file_answers.cpp:1: no CMakeLists.txt names this file")

    def test_a_folder_without_a_readme_is_found(self):
        self.demand({"bidi/bridge.h": "int a;\n"}, "bidi:0: has no README.md")

    def test_a_file_over_500_lines_is_found_and_one_of_500_is_not(self):
        self.assertEqual(self.check({"diag/long.h": "\n" * 500}), "")
        self.demand({"diag/long.h": "\n" * 501}, "501 lines, more than 500")


if __name__ == "__main__":
    unittest.main()
