# SPDX-License-Identifier: Apache-2.0
"""What can go wrong, in the words of the library."""

from __future__ import annotations

from typing import Any, Mapping, Optional

from ._qor import Error, PipelineBusy, PipelineError, RecordError, RecordingError

__all__ = ["DataError", "Error", "Finding", "PipelineBusy", "PipelineError", "RecordError", "RecordingError",
           "UsageError"]


class UsageError(Error, ValueError):
    """An argument asks for something impossible (exit code 2 of the command)."""


class DataError(Error):
    """Data that could not be processed, or a file that could not be read or written (exit code 3).

    ``document`` is what the command reports in spite of it, as figures of the frames before a damage; empty if
    nothing was done. Of many recordings, ``documents`` has the document of each.
    """

    def __init__(self, sentence: str, document: Optional[Mapping[str, Any]] = None,
                 documents: Optional[list[dict[str, Any]]] = None) -> None:
        super().__init__(sentence)
        self.document = dict(document or {})
        self.documents = documents or []


class Finding(UserWarning):
    """Something that should not be, though the work was done: images that are missing, a stage that failed."""
