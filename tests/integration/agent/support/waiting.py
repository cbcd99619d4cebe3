"""Waiting for what must happen, within a bound that only a broken program reaches."""

import time

# A bound, not a measure: no test takes longer because it is large, and a busy machine with a
# sanitized agent may need it.
PATIENCE = 120.0
PAUSE = 0.01


def until(condition, what, patience=PATIENCE):
    """Returns the first true result of `condition`; fails, saying `what` did not come about."""
    end = time.monotonic() + patience
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > end:
            raise AssertionError(f"waited {patience:g} s in vain for: {what() if callable(what) else what}")
        time.sleep(PAUSE)
