"""Models, and the formats that they are stored in."""

from kr0._core import version as __version__

__all__ = ["__version__"]
