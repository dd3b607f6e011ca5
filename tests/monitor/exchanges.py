"""Status, commands and their replies: from the demo machine's printers, and from a library
that answers in ways that no printer does at will (odd_provider.cpp)."""

import re

from harness import Case

TIME = re.compile(r"^\d{4}-\d\d-\d\d[ T]\d\d:\d\d:\d\d\.\d{3}")
FIRST_ITEM = "@BDC ST\r\nST:04;\f"
LATER_ITEM = "@BDC ST\r\nST:02;\f"


def data(text):
    return {"hex": text.encode().hex(), "text": text}


class Printers(Case):
    """The demo machine's."""

    def test_a_setting_has_an_empty_reply(self):
        self.expect(self.monitor("send", "Quillon Colour 4200", "--kind", "qpl", "--text",
                                 "@QPL SET COPIES=2\\r\\n"), 0,
                    "Quillon Colour 4200: 19 bytes sent over qpl, empty reply\n")

    def test_a_reply_is_shown_as_text_and_in_hexadecimal(self):
        self.expect(self.monitor("send", "Quillon Label 80", "--kind", "label", "--hex",
                                 "7e 48 49 0a"), 0,
                    "Quillon Label 80: 4 bytes sent over label, reply of 17 bytes\n"
                    "  ~HI,V1.7,203DPI\n"
                    "  0000  7e 48 49 2c 56 31 2e 37  2c 32 30 33 44 50 49 0d  ~HI,V1.7,203DPI.\n"
                    "  0010  0a                                                .\n")

    def test_status_shows_each_field_on_a_line(self):
        ran = self.monitor("status", "Quillon Label 80")
        self.assertEqual((ran.status, ran.error), (0, ""))
        lines = ran.output.splitlines()
        self.assertRegex(lines[0], r"^Quillon Label 80: status of \d+ bytes over bdc$")
        self.assertEqual(lines[1], "  @BDC ST")
        self.assertRegex(lines[2], r"^  ST  [0-9A-F]+$")
        self.assertIn("  MC  514C3830303034343131", lines)

    def test_status_in_binary_form_is_shown_in_hexadecimal(self):
        ran = self.monitor("status", "Quillon Colour 4200")
        self.assertEqual((ran.status, ran.error), (0, ""))
        lines = ran.output.splitlines()
        self.assertEqual(lines[0], "Quillon Colour 4200: status of 36 bytes over bdc")
        self.assertTrue(lines[1].startswith("  0000  40 42 44 43 20 53 54 32  0d 0a 18 00 "),
                        lines[1])
        self.assertEqual(lines[3],
                         "  0020  30 30 31 37                                       0017")

    def test_status_without_a_bdc_channel_comes_by_the_first_that_has_it(self):
        ran = self.monitor("--json", "status", "Comptabilité, 2e étage")
        status = self.objects(ran)[0]
        self.assertEqual((status["kind"], status["result"]), ("qpl", 0))
        self.assertTrue(status["data"]["text"].startswith("@QPL STATUS CODE="), status)

    def test_a_printer_that_is_switched_off_is_told_by_the_operation_that_found_it(self):
        self.assertEqual(self.objects(self.monitor("--json", "status", "Night Desk"), 1),
                         [{"printer": "Night Desk", "operation": "GetConnectInf", "kind": None,
                           "result": -2, "code": "VLPER_NOTCONNECT", "data": None}])

    def test_a_reply_that_is_larger_than_the_profile_allows_is_too_large(self):
        file = self.world.write("large.qpl", b"@QPL FILL 60000\r\n")
        self.expect(self.monitor("send", "Quillon Colour 4200", "--kind", "qpl", "--file", file),
                    1, "Quillon Colour 4200: -5 VLPER_BUFFERSIZE: "
                    "the printer's answer is too large\n")

    def test_a_channel_that_takes_no_commands_is_refused(self):
        for command, kind in (("send", "end4"), ("through", "qpl")):
            self.expect(self.monitor(command, "Quillon Colour 4200", "--kind", kind, "--hex",
                                     "00"), 1,
                        "Quillon Colour 4200: -3 VLPER_NOCHANNEL: "
                        "the printer has no such channel, or not for this use\n")


class OddCase(Case):
    def odd(self, *words):
        return self.monitor("--provider", self.world.options.odd_provider, *words)


class Replies(OddCase):
    def test_a_reply_that_comes_late_is_waited_for(self):
        self.expect(self.odd("send", "Answers", "--kind", "qpl", "--text", "a"), 0,
                    "Answers: 1 byte sent over qpl, reply of 6 bytes\n"
                    "  reply\n"
                    "  0000  72 65 70 6c 79 0a                                 reply.\n")

    def test_an_empty_reply_is_not_waited_for(self):
        self.expect(self.odd("send", "Silent", "--kind", "qpl", "--hex", "00 01"), 0,
                    "Silent: 2 bytes sent over qpl, empty reply\n")
        self.assertEqual(
            self.objects(self.odd("--json", "send", "Silent", "--kind", "qpl", "--hex", "00")),
            [{"printer": "Silent", "operation": "SendCommand", "kind": "qpl", "result": 1,
              "code": None, "data": data("")}])

    def test_a_reply_is_shown_though_the_printer_has_gone_since(self):
        self.assertEqual(
            self.objects(self.odd("--json", "send", "Leaves", "--kind", "qpl", "--hex", "00")),
            [{"printer": "Leaves", "operation": "SendCommand", "kind": "qpl", "result": 1,
              "code": None, "data": data("reply\n")}])

    def test_no_reply_from_a_printer_that_has_gone_is_not_called_an_empty_one(self):
        self.expect(self.odd("send", "Vanishes", "--kind", "qpl", "--hex", "00"), 0,
                    "Vanishes: 1 byte sent over qpl, whether a reply came can't be told\n")

    def test_a_refused_command_is_a_negative_result(self):
        self.expect(self.odd("send", "Silent", "--kind", "d4", "--hex", "00"), 1,
                    "Silent: -3 VLPER_NOCHANNEL: "
                    "the printer has no such channel, or not for this use\n")

    def test_a_through_command_shows_its_result_only(self):
        self.assertEqual(
            self.objects(self.odd("--json", "through", "Silent", "--kind", "0x10010003",
                                  "--text", "\\x1b@")),
            [{"printer": "Silent", "operation": "SendThroughCommand", "kind": "bdc",
              "result": 2, "code": None}])


class Readings(OddCase):
    def watch(self, printer, count, *words):
        return self.odd("status", printer, "--watch", "--every", "100", "--count", str(count),
                        *words)

    def test_bytes_that_are_no_text_are_shown_in_hexadecimal(self):
        self.expect(self.odd("status", "Binary"), 0,
                    "Binary: status of 14 bytes over bdc\n"
                    "  0000  40 42 44 43 20 53 54 32  0d 0a 02 00 01 01        "
                    "@BDC ST2......\n")

    def test_a_channel_that_the_person_names_is_the_one_that_is_asked(self):
        self.expect(self.odd("status", "Changes", "--kind", "qpl"), 1,
                    "Changes: -3 VLPER_NOCHANNEL: "
                    "the printer has no such channel, or not for this use\n")

    def test_a_printer_without_a_channel_for_status_is_refused_by_the_library(self):
        self.assertEqual(self.objects(self.odd("--json", "status", "Keyed"), 1),
                         [{"printer": "Keyed", "operation": "GetStatus", "kind": "bdc",
                           "result": -3, "code": "VLPER_NOCHANNEL", "data": None}])

    def test_a_watch_is_a_line_for_each_reading_and_says_what_is_new(self):
        ran = self.watch("Changes", 5)
        self.assertEqual((ran.status, ran.error), (1, ""))
        lines = ran.output.splitlines()
        for line in lines:
            self.assertRegex(line, TIME)
        self.assertEqual(
            [line[23:] for line in lines],
            ["  bdc  first      16 bytes  @BDC ST\\x0d\\x0aST:04;\\x0c",
             "  bdc  unchanged  16 bytes  @BDC ST\\x0d\\x0aST:04;\\x0c",
             "  bdc  failed     -9 VLPER_SEND: communication with the printer failed",
             "  bdc  changed    16 bytes  @BDC ST\\x0d\\x0aST:02;\\x0c",
             "  bdc  unchanged  16 bytes  @BDC ST\\x0d\\x0aST:02;\\x0c"])

    def test_a_watch_in_json_is_an_object_for_each_reading(self):
        objects = self.objects(self.watch("Changes", 4, "--json"), 1)
        for reading in objects:
            self.assertRegex(reading.pop("time"), TIME)
        same = {"printer": "Changes", "operation": "GetStatus", "kind": "bdc"}
        answered = dict(same, result=0, code=None)
        self.assertEqual(objects, [
            dict(answered, data=data(FIRST_ITEM), changed=False),
            dict(answered, data=data(FIRST_ITEM), changed=False),
            dict(same, result=-9, code="VLPER_SEND", data=None, changed=False),
            dict(answered, data=data(LATER_ITEM), changed=True)])

    def test_a_watch_without_failures_ends_well(self):
        self.assertEqual(self.watch("Changes", 2).status, 0)
