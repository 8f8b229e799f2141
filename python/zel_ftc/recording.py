"""Recordings of the example programs and of `zelftc watch --csv`, as arrays."""
from __future__ import annotations

import csv
import os
import typing

import numpy as np
import numpy.typing as npt

POSE = ("x", "y", "z", "a", "b", "c")
WRENCH = ("fx", "fy", "fz", "mx", "my", "mz")
_TEXTS = ("run", "pose")


def readRecording(path: str | os.PathLike[str]) -> npt.NDArray[typing.Any]:
    """Reads a CSV file with a header line: one element per row, columns by name.

    recording["fz"] is a column, recording[recording["run"] == "approach"] are the rows of a run.
    The columns `run` and `pose` hold text, all others numbers; an empty cell is not a number.
    ValueError names file, line and column of what is wrong.
    """
    with open(path, newline="", encoding="utf-8-sig") as file:
        lines = csv.reader(file)
        try:
            return _table(lines)
        except UnicodeDecodeError:
            raise ValueError(f"{path}: this is not UTF-8 text, save it as UTF-8") from None
        except csv.Error as error:
            raise ValueError(f"{path}, line {lines.line_num}: {error}") from None
        except ValueError as error:
            raise ValueError(f"{path}, {error}") from None


def columns(
    recording: npt.NDArray[typing.Any], names: typing.Sequence[str]
) -> npt.NDArray[np.float64]:
    """The columns named, side by side: columns(recording, WRENCH) has six of them."""
    return np.column_stack([recording[name] for name in names])


def _table(lines: typing.Any) -> npt.NDArray[typing.Any]:
    header = [name.strip() for name in next(lines, [])]
    if not all(header) or not header or len(set(header)) < len(header):
        raise ValueError("line 1: a header with one name for each column is wanted")
    rows = []
    for line in lines:
        if len(line) != len(header) and line:
            raise ValueError(f"line {lines.line_num}: {len(line)} cells for {len(header)} columns")
        if line:
            rows.append(tuple(_cell(*cell, lines.line_num) for cell in zip(header, line)))
    kinds = [(name, object if name in _TEXTS else np.float64) for name in header]
    return np.array(rows, dtype=kinds)


def _cell(name: str, text: str, line: int) -> str | float:
    if name in _TEXTS:
        return text
    try:
        return float(text) if text.strip() else np.nan
    except ValueError:
        raise ValueError(f'line {line}, column "{name}": "{text}" is not a number') from None
