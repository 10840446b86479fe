"""The command ``kr0`` of an installed wheel, which has the tool among its files."""

import os
import sys
from pathlib import Path
from typing import NoReturn


def main() -> NoReturn:
    """Becomes the tool, with the arguments of this process."""
    tool = Path(__file__).with_name("bin") / "kr0"
    os.execv(tool, ["kr0", *sys.argv[1:]])
