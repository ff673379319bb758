"""Calls of the library tell how far they are, and stop where Python has an exception to raise."""
from __future__ import annotations

from typing import Callable, Generator, Optional

from ._library import Progress

Told = Callable[[float], object]


class Watch:
    """Hands the shares of calls, 0 to 1, to a function. What that raises, and Ctrl-C, stops the call."""

    # Calls what the library hands over with the share. Not a line of Python may lie between the library and
    # the generator: Ctrl-C would be raised in that line, where ctypes reports and drops it.
    step = Progress(type(len).__call__)

    def __init__(self, told: Optional[Told]) -> None:
        self.told = told
        self.failure: Optional[BaseException] = None  #: that has stopped the last call
        steps = self._steps()
        next(steps)
        self.user = steps.send

    def _steps(self) -> Generator[int, float, None]:
        answer = 0
        while True:
            try:
                share = yield answer  # here Ctrl-C is raised
                answer = 0
                if self.told is not None:
                    self.told(share)
            except GeneratorExit:
                return
            except BaseException as failure:
                self.failure = failure
                answer = 1
