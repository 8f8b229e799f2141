"""The exception of the flat interface."""
from __future__ import annotations

import types
import typing

if typing.TYPE_CHECKING:
    from ._flat import zel_ftc_reason


class Error(RuntimeError):
    """The library refused a call, or a run failed: the text says why and what to do about it.

    `reason` has the parts: kind, function, argument, value, limit, unit, code, text, remedy, ...
    """

    def __init__(self, reason: zel_ftc_reason) -> None:
        super().__init__(f"{reason.text}: {reason.remedy}")
        self.reason = reason

    def __reduce__(self) -> tuple[type[Error], tuple[types.SimpleNamespace]]:
        """For another process: the same text and parts."""
        names = [name for name in dir(self.reason) if not name.startswith("_")]
        return Error, (types.SimpleNamespace(**{n: getattr(self.reason, n) for n in names}),)
