"""What a Qt Test program prints when CTest has to take it as failed although it passes.

    python3 tests/tools/test_failing_output.py PROGRAM EXPRESSION...
"""

import re
import subprocess
import sys
import unittest

PROGRAM, *EXPRESSIONS = sys.argv[1:]
LIMIT = 60  # s


class FailingOutput(unittest.TestCase):

    def fails(self, *functions):
        """Whether one of the expressions finds something in the output of these functions, which pass."""
        done = subprocess.run([PROGRAM, *functions], check=False, capture_output=True, text=True, timeout=LIMIT)
        self.assertEqual(done.returncode, 0)
        output = done.stdout + done.stderr
        self.assertIn(" 0 failed", output)
        return any(re.search(expression, output) for expression in EXPRESSIONS)

    def test_warnings_and_critical_messages_fail(self):
        self.assertTrue(self.fails("silent", "warning"))
        self.assertTrue(self.fails("silent", "critical"))

    def test_program_with_one_test_and_messages_for_information_passes(self):
        self.assertFalse(self.fails("silent", "info"))

    def test_program_without_a_test_fails(self):
        # Qt Test counts initTestCase and cleanupTestCase.
        self.assertIn("Totals: 3 passed", subprocess.run([PROGRAM, "silent"], check=True, capture_output=True, text=True,
                                                         timeout=LIMIT).stdout)
        self.assertTrue(any(re.search(expression, "Totals: 2 passed, 0 failed") for expression in EXPRESSIONS))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
