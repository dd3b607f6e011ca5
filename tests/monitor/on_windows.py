"""What Windows alone refuses."""

from harness import Case


class OnWindows(Case):
    def test_another_machine_can_not_be_named(self):
        self.expect_refusal(self.monitor("--machine", "C:\\somewhere", "list"), "--machine")

    def test_a_file_that_is_not_there_is_named(self):
        self.expect_refusal(
            self.monitor("send", "Quillon Colour 4200", "--kind", "qpl", "--file", "C:\\ü\\none"),
            "can't read C:\\ü\\none (error 3)")
