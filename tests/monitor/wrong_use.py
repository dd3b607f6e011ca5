"""What vlpmon refuses to do, with status 2."""

import os

from harness import Case

from answers import INFO


class WrongUse(Case):
    def test_words_that_mean_nothing_are_refused_with_a_hint(self):
        for words, text in ((), "a command is missing"), (("frob",), 'unknown command "frob"'), \
                (("status",), "status wants the name of a printer"), \
                (("status", "x", "--kind", "bcd"), '"bcd" is no kind of channel'), \
                (("status", "x", "--every", "1000"), "--every goes with status --watch"), \
                (("status", "x", "--watch", "--every", "99"), "--every wants milliseconds"), \
                (("send", "x", "--text", "y"), "send wants --kind"), \
                (("send", "x", "--kind", "qpl"), "send wants one of --text"), \
                (("through", "x", "--kind", "bdc", "--hex", "00", "--text", "y"),
                 "one of --text, --hex and --file is enough"), \
                (("list", "x"), '"x" is one word too many'), \
                (("info",), "info wants the name of a printer"), \
                (("id", "a", "b"), '"b" is one word too many'), \
                (("-x", "list"), 'unknown option "-x"'), \
                (("list", "--provider"), "--provider wants a path"), \
                (("list", "--machine", ""), "--machine wants a path"):
            with self.subTest(words=words):
                ran = self.monitor(*words)
                self.expect_refusal(ran, text)
                self.assertIn("vlpmon --help says more", ran.error)

    def test_a_missing_library_is_named(self):
        missing = os.path.join(self.world.folder, "missing.library")
        self.expect_refusal(self.monitor("--provider", missing, "list"),
                            "can't load the library " + missing)

    def test_a_library_without_the_export_is_refused(self):
        self.expect_refusal(self.monitor("--provider", self.world.options.stranger, "list"),
                            "has no VLPGetProviderInfo")

    def test_the_named_library_is_the_one_that_is_used(self):
        self.expect(self.monitor("--provider", self.world.options.library, "info",
                                 "Quillon Colour 4200"), 0, INFO)

    def refuse_command(self, text, *words):
        for command in ("send", "through"):
            self.expect_refusal(
                self.monitor(command, "Quillon Colour 4200", "--kind", "qpl", *words), text)

    def test_commands_that_are_no_bytes_are_refused_before_anything_is_sent(self):
        self.refuse_command("--hex has 3 digits", "--hex", "1b4")
        self.refuse_command("character 2 of --hex is no hexadecimal digit", "--hex", "0x00")
        self.refuse_command("the command is empty", "--hex", " ")
        self.refuse_command("the command is empty", "--text", "")
        self.refuse_command('"\\q" is no escape', "--text", "a\\q")
        self.refuse_command("code page 1252 lacks", "--text", "表")

    def test_a_file_that_gives_no_command_is_named(self):
        folder = self.world.folder
        missing = os.path.join(folder, "missing")
        self.refuse_command("can't read " + missing + ": No such file", "--file", missing)
        self.refuse_command("can't read " + folder + ": Is a directory", "--file", folder)
        empty = self.world.write("no_bytes", b"")
        self.refuse_command(empty + " is empty", "--file", empty)

    def test_a_file_of_more_than_16_mebibytes_is_refused(self):
        large = self.world.write("large", bytes(16 * 1024 * 1024 + 1))
        self.refuse_command(large + " has more than 16 MiB", "--file", large)
        with open(large, "rb+") as file:
            file.truncate(16 * 1024 * 1024)
        ran = self.monitor("--provider", self.world.options.odd_provider, "through", "Silent",
                           "--kind", "bdc", "--file", large)
        self.expect(ran, 0, "Silent: 16777216 bytes sent over bdc as they stand\n")
