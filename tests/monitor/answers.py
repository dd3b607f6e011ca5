"""What list, info and id show."""

import json

from harness import Case

COLOUR_ID = ("MFG:Quillon;CMD:QPL,BDC,D4,ZRDPAGES-01;MDL:Colour 4200;CLS:PRINTER;"
             "DES:Quillon Colour 4200;SN:QN42000017;")

INFO = """\
Quillon Colour 4200: 5 channels
CHANNEL   KIND        MODE    TAKES
qpl       0x10010002  0x0003  commands
bdc       0x10010003  0x0007  commands status
d4        0x10000005  0x0007  commands status
zrdpages  0x10000006  0x0003  commands
zrdpage   0x10010004  0x0003  commands
"""


class Answers(Case):
    def test_list_in_json_is_one_object_for_each_printer(self):
        ran = self.monitor("--json", "list")
        objects = self.objects(ran)
        self.assertEqual(len(objects), 11)
        self.assertEqual(objects[0], {"printer": "Comptabilité, 2e étage", "port": "LPT1:",
                                      "result": 2, "code": None, "channels": ["qpl", "zrdpage"]})
        self.assertEqual(objects[10], {"printer": "Warehouse", "port": "USB004", "result": -19,
                                      "code": "VLPER_NOENTRY", "channels": []})

    def test_info_shows_kind_mode_and_use_of_each_channel(self):
        self.expect(self.monitor("info", "Quillon Colour 4200"), 0, INFO)

    def test_info_in_json_gives_kinds_and_modes_as_hexadecimal_texts(self):
        ran = self.monitor("--json", "info", "Quillon Archive 900")
        self.assertEqual((ran.status, ran.error), (0, ""))
        self.assertEqual(json.loads(ran.output), {
            "printer": "Quillon Archive 900", "operation": "GetConnectInf", "result": 2,
            "code": None, "entries": [
                {"kind": "0x10000005", "name": "d4", "mode": "0x0007"},
                {"kind": "0x10010003", "name": "bdc", "mode": "0x0007"}]})

    def test_id_in_json_gives_the_bytes_as_hex_and_as_text(self):
        ran = self.monitor("id", "Quillon Colour 4200", "--json")
        self.assertEqual((ran.status, ran.error), (0, ""))
        self.assertEqual(json.loads(ran.output), {
            "printer": "Quillon Colour 4200", "operation": "GetDeviceID", "result": 0,
            "code": None, "data": {"hex": COLOUR_ID.encode().hex(), "text": COLOUR_ID}})

    def test_a_printer_without_channels_is_a_negative_result_for_info_alone(self):
        self.expect(self.monitor("info", "Warehouse"), 1,
                    "Warehouse: -19 VLPER_NOENTRY: the printer has no channel\n")
        self.assertEqual(self.monitor("id", "Warehouse").status, 0)

    def test_a_printer_that_is_switched_off_has_no_connection(self):
        self.expect(self.monitor("id", "Night Desk"), 1,
                    "Night Desk: -2 VLPER_NOTCONNECT: "
                    "the printer has no connection to talk over\n")
        ran = self.monitor("--json", "id", "Night Desk")
        self.assertEqual(ran.status, 1)
        self.assertEqual(json.loads(ran.output), {
            "printer": "Night Desk", "operation": "GetDeviceID", "result": -2,
            "code": "VLPER_NOTCONNECT", "data": None})

    def test_an_unknown_printer_is_not_supported(self):
        for command in ("info", "id"):
            self.expect(self.monitor(command, "Nobody"), 1,
                        "Nobody: -1 VLPER_NOTSUPPORT: "
                        "this printer, port or name can't be served\n")

    def test_a_name_of_300_letters_is_not_supported(self):
        self.assertEqual(self.monitor("info", "x" * 300).status, 1)

    def test_a_name_that_begins_like_an_option_stands_behind_two_dashes(self):
        self.assertTrue(self.monitor("info", "--", "--json").output.startswith("--json: -1 "))

    def test_help_shows_how_the_program_is_used(self):
        ran = self.monitor("--help")
        self.assertEqual((ran.status, ran.error), (0, ""))
        self.assertTrue(ran.output.startswith("usage: vlpmon "))
