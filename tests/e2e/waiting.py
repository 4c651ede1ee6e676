"""Waiting for a state of the program that can be polled."""

import os
import time

# Time-outs are for a busy machine; a build with a sanitizer is slower still.
SCALE = float(os.environ.get("GRAVIMON_E2E_SCALE", "1"))
PATIENCE = 60.0


class NotYet(AssertionError):
    """An expected state that did not occur."""


def wait_for(what, predicate, patience=PATIENCE):
    """Polls until predicate() is true and returns its result."""
    end = time.monotonic() + patience * SCALE
    while True:
        value = predicate()
        if value:
            return value
        if time.monotonic() > end:
            raise NotYet(f"waited {patience * SCALE:.0f} s in vain: {what}")
        time.sleep(0.03)
