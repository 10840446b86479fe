"""Runs the blocks of Python of one page, which go on from each other.

Reads lines of two names, the file of a block and the file for what it prints, and says "done" after each.
"""

import contextlib
import sys
from typing import Any


def main() -> None:
    """Ends with the first block that fails, whose traceback says why."""
    names: dict[str, Any] = {"__name__": "__main__"}
    for line in sys.stdin:
        block, printed = line.split()
        with open(block) as file:
            code = compile(file.read(), block, "exec")
        with open(printed, "w") as out, contextlib.redirect_stdout(out):
            exec(code, names)
        print("done", flush=True)


if __name__ == "__main__":
    main()
