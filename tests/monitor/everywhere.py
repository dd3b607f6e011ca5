"""What holds natively and under Wine alike: little, because each start under Wine takes a
second. What doesn't depend on the system stands in the other files."""

import os
import signal
import time

from answers import COLOUR_ID
from harness import Case, wait_until

LIST = """\
PRINTER                   PORT            RESULT               CHANNELS
Comptabilité, 2e étage    LPT1:           2                    qpl zrdpage
Night Desk                USB005          -2 VLPER_NOTCONNECT
Quillon Archive 900       USB002          2                    d4 bdc
Quillon Archive 900 (2)   USB007          2                    d4 bdc
Quillon Colour 4200       USB001          5                    qpl bdc d4 zrdpages zrdpage
Quillon Fax 620           USB006          2                    bdc end4
Quillon Label 80          USB003          2                    label bdc
Quillon Mono 310 to file  FILE:           -1 VLPER_NOTSUPPORT
Reception                 10.20.0.40      -1 VLPER_NOTSUPPORT
Reception (old queue)     USB_10.20.0.41  -1 VLPER_NOTSUPPORT
Warehouse                 USB004          -19 VLPER_NOENTRY
"""

ID = """\
Comptabilité, 2e étage: device ID of 59 bytes
  MFG   Quillon
  CMD   QPL
  MDL   Mono 310
  CLS   PRINTER
  SN    QN31007730
"""

EXAMPLE = f"""\
Quillon Colour 4200: GetConnectInf gives 5
  channel 10010002, mode 0003
  channel 10010003, mode 0007
  channel 10000005, mode 0007
  channel 10000006, mode 0003
  channel 10010004, mode 0003
request 1: {len(COLOUR_ID)} bytes: {COLOUR_ID}
Reception: GetConnectInf gives -1
"""


class Everywhere(Case):
    def test_list_shows_every_printer_with_its_channels_or_its_code(self):
        self.expect(self.monitor("list"), 0, LIST)

    def test_id_of_a_printer_with_accented_letters_shows_its_fields(self):
        self.expect(self.monitor("id", "Comptabilité, 2e étage"), 0, ID)

    def test_the_example_of_the_integration_guide_shows_channels_and_device_id(self):
        library = self.world.path(self.world.options.library)
        ran = self.world.run(self.world.options.example, library, "Quillon Colour 4200",
                             "Reception")
        self.expect(ran, 0, EXAMPLE)

    def test_a_name_outside_the_code_page_is_refused(self):
        self.expect_refusal(self.monitor("info", "表"), "code page 1252 lacks")

    def test_a_watch_in_json_reads_the_status_of_the_printer(self):
        ran = self.monitor("--json", "status", "Quillon Label 80", "--watch", "--every", "100",
                           "--count", "2")
        readings = self.objects(ran)
        self.assertEqual(len(readings), 2)
        for reading in readings:
            text = reading["data"]["text"]
            # The serial number, digit by digit.
            self.assertRegex(text, "^@BDC ST\r\nST:[0-9A-F]+;.*MC:514C3830303034343131;.*\f$")
            self.assertEqual(reading["data"]["hex"], text.encode().hex())
            self.assertRegex(reading["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}$")
            self.assertEqual([reading[name] for name in ("printer", "operation", "kind", "result",
                                                         "code", "changed")],
                             ["Quillon Label 80", "GetStatus", "bdc", 0, None, False])

    def test_a_command_from_a_file_brings_the_reply_of_the_printer(self):
        text = "@QPL ECHO " + "a" * 2000 + "\r\n"
        file = self.world.write("echo.qpl", text.encode())
        ran = self.monitor("--json", "send", "Quillon Colour 4200", "--kind", "qpl", "--file",
                           self.world.path(file))
        self.assertEqual(self.objects(ran), [
            {"printer": "Quillon Colour 4200", "operation": "SendCommand", "kind": "qpl",
             "result": len(text), "code": None,
             "data": {"hex": (text + "\f").encode().hex(), "text": text + "\f"}}])

    def test_nothing_goes_through_to_a_printer_that_is_switched_off(self):
        self.expect(self.monitor("through", "Night Desk", "--kind", "bdc", "--hex", "1b40"), 1,
                    "Night Desk: -2 VLPER_NOTCONNECT: "
                    "the printer has no connection to talk over\n")

    def test_a_command_that_is_missing_is_wrong_use(self):
        self.expect_refusal(self.monitor(), "a command is missing: list, info, id, status")


class ControlC(Case):
    def test_the_program_ends_at_once_though_the_printer_hangs(self):
        log = self.world.log("Quillon Colour 4200")
        if os.path.exists(log):
            os.remove(log)
        with self.world.edited(self.world.hardware("colour4200.ini"),
                               lambda text: text.replace("LatencyMs = 40", "LatencyMs = 600000")):
            running = self.world.start(self.world.options.monitor, "info", "Quillon Colour 4200")
            self.assertTrue(wait_until(lambda: self.is_sent(log)), "the printer was never asked")
            started = time.monotonic()
            os.kill(running.pid, signal.SIGINT)
            running.communicate(timeout=20)
            self.assertLess(time.monotonic() - started, 5)
            self.assertEqual(running.returncode, 130)

    @staticmethod
    def is_sent(log):
        """Both rows are set, so the batch is with the spooler or about to be."""
        if not os.path.exists(log):
            return False
        with open(log, "rb") as file:
            return file.read().count(b"CBidiIF::SetRequest Return") == 2
