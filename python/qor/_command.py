# SPDX-License-Identifier: Apache-2.0
"""The subcommands of ``qor`` as functions. They run the command's own code in this process and give its JSON
document back, so a figure is the same number here and on the command line."""

from __future__ import annotations

import concurrent.futures
import difflib
import functools
import json
import os
import subprocess
import sys
import warnings
from typing import Any, Iterable, Mapping, Optional, Sequence, Union

from . import _qor
from ._errors import DataError, Error, Finding, UsageError
from ._recordings import Recording
from ._settings import Settings, setting_words, value_text

Path = Union[str, "os.PathLike[str]"]
Document = dict[str, Any]


@functools.lru_cache(maxsize=None)
def _options_of(command: str) -> dict[str, tuple[bool, str]]:
    return _qor.options_of(command)


def _option_words(command: str, options: Mapping[str, Any]) -> list[str]:
    known = _options_of(command)
    words: list[str] = []
    for keyword, value in options.items():
        name = keyword.replace("_", "-")
        if name not in known or name in ("json", "quiet", "help"):
            near = difflib.get_close_matches(name, known, 1)
            hint = f"; did you mean {near[0].replace('-', '_')!r}?" if near else ""
            raise TypeError(f"qor {command} has no option {keyword!r}{hint}")
        if value is None or value is False:
            continue
        takes_value, delimiter = known[name]
        if not takes_value:
            words.append(f"--{name}")
        elif isinstance(value, (str, os.PathLike)) or not isinstance(value, Iterable):
            words += [f"--{name}", _word(value)]
        elif delimiter:
            words += [f"--{name}", delimiter.join(_word(part) for part in value)]
        else:
            for part in value:
                words += [f"--{name}", _word(part)]
    return words


def _word(value: Any) -> str:
    return str(os.fspath(value)) if isinstance(value, os.PathLike) else value_text(value)


def _file(path: Path) -> str:
    """The name of a file; standard input and output belong to the interpreter."""
    name = os.fspath(path)
    if name in ("-", "/dev/stdin", "/dev/stdout", "/proc/self/fd/0", "/proc/self/fd/1"):
        raise UsageError(f"{name} is a stream of this interpreter; name a file.")
    # A name that begins with a dash is no option.
    return os.path.join(".", name) if name.startswith("-") else name


def _document(text: str) -> Document:
    document: Document = json.loads(text) if text else {}
    return document


def _judged(command: str, exit_code: int, document: Document, errors: str) -> Document:
    """The document, or the exception for what ended the command."""
    sentence = document.get("error") or errors.strip() or f"qor {command} ended with exit code {exit_code}"
    if exit_code == 2:
        raise UsageError(sentence)
    if exit_code not in (0, 1):
        raise DataError(sentence, document)
    for line in errors.splitlines():
        warnings.warn(line, Finding, stacklevel=4)
    return document


def _call(command: str, words: Sequence[str], uses_pipeline: bool) -> Document:
    exit_code, document, errors, interrupted = _qor.command([command, *words, "--json", "--quiet"], uses_pipeline)
    if interrupted:
        raise KeyboardInterrupt
    return _judged(command, exit_code, _document(document.decode("utf-8", "replace")),
                   errors.decode("utf-8", "replace"))


def simulate(output: Path, **options: Any) -> Document:
    """Makes a recording of a simulated camera, with its truth: ``qor simulate``.

    Options are those of the command with underscores, for example ``simulate("room.zelta", scene="room",
    frames=3, exposures=[400, 1600], no_noise=True)``: exposure times in microseconds, frequencies in Hz or as
    ``"60MHz"``, ambient light in kilolux, temperature in degrees Celsius. Returns the command's JSON document. With
    ``auto_exposure=True`` the algorithm is in the loop.

    Raises ``TypeError`` for an unknown option, ``UsageError`` for a value that no camera could follow,
    ``DataError`` if the file cannot be written, ``PipelineBusy`` where the algorithm is wanted and taken.
    """
    words = ["--out", _file(output), *_option_words("simulate", options)]
    return _call("simulate", words, bool(options.get("auto_exposure")))


def importing(files: Union[Path, Sequence[Path]], output: Path, **options: Any) -> Document:
    """Makes a recording from raw phases of another camera: ``qor import``.

    ``files`` are NumPy files, pictures or raw arrays, as the command takes them; options are those of the command
    with underscores, for example ``frequencies=["60MHz"], exposures=[1000], axes="phase,y,x"``. Returns the command's
    JSON document, with what was found and assumed.

    Raises ``TypeError``, ``UsageError`` and ``DataError`` as ``simulate`` does.
    """
    words = [*_files(files), "--out", _file(output), *_option_words("import", options)]
    return _call("import", words, False)


def export(files: Union[Path, Sequence[Path]], output: Path, **options: Any) -> Document:
    """Writes frames and records as pictures, arrays, tables and point clouds: ``qor export``.

    ``output`` is a folder. Options are those of the command with underscores, for example
    ``format=["png", "npz"], images=["distance"], frames="0:10"``. Returns the command's JSON document, which lists
    the files.

    Raises ``TypeError``, ``UsageError`` and ``DataError`` as ``simulate`` does.
    """
    words = [*_files(files), "--out", _file(output), *_option_words("export", options)]
    return _call("export", words, False)


def metrics(file: Path, settings: Optional[Settings] = None, **options: Any) -> Document:
    """Measures a recording, which is run through the algorithm in this process, or a result: ``qor metrics``.

    ``settings`` is a mapping or the name of a file, as in ``Pipeline``. Options are those of the command with
    underscores: ``truth``, ``distance`` (metres), ``region``, ``frames``, ``fail_if``, ``per_frame``. Returns the
    command's JSON document: ``figures`` (docs/figures.md has the formula and unit of each; ``None`` where it was not
    measured), ``noiseByAmplitude``, ``regions``, ``stages``, ``conditions``, ``findings``.

    Raises ``PipelineBusy`` for a recording if a ``Pipeline`` lives in this process, ``UsageError`` for a setting that
    the recording does not have, ``DataError`` for a file that is damaged; its ``document`` has the figures up to there.
    """
    words = [_file(file), *setting_words(settings), *_option_words("metrics", options)]
    return _call("metrics", words, not _is_result(file))


def _is_result(file: Path) -> bool:
    """A result is measured without the algorithm. What cannot be read is for the command to tell."""
    try:
        return Recording(file).kind == "result"
    except Error:
        return False


def evaluate(recording: Path, settings: Optional[Settings] = None, **options: Any) -> dict[str, Optional[float]]:
    """The figures of a recording with these settings: ``metrics(...)["figures"]``, in this process."""
    figures: dict[str, Optional[float]] = metrics(recording, settings, **options)["figures"]
    return figures


def run(recordings: Union[Path, Sequence[Path]], output: Path, settings: Optional[Settings] = None,
        processes: Optional[int] = None, **options: Any) -> Any:
    """Runs recordings through the algorithm and writes results and pictures: ``qor run``.

    One recording: ``output`` is its folder; returns the command's JSON document. A list of them: each has a folder
    of its own in ``output``, named as the recording without its suffix; returns the list of documents in the same
    order. Options are those of the command with underscores, for example ``force=True, channels=["debug"],
    frames="0:5", cloud=["ply"]``.

    With ``processes=N`` the recordings are run in N processes of their own, otherwise one after the other in this
    one. A failure in one does not keep the others from running; ``DataError`` is raised when all are done.

    Raises ``PipelineBusy`` if a ``Pipeline`` lives in this process and ``processes`` is not given, ``TypeError``,
    ``UsageError`` and ``DataError`` as ``simulate`` does.
    """
    if processes is not None and processes < 1:
        raise UsageError(f"processes={processes}: at least one process is needed.")
    more = [*setting_words(settings), *_option_words("run", options)]
    if isinstance(recordings, (str, os.PathLike)):
        words = [_file(recordings), "--out", _file(output), *more]
        return _call("run", words, True) if processes is None else _call_apart("run", words)
    lines = [[_file(recording), "--out", folder, *more]
             for recording, folder in zip(recordings, _folders(recordings, _file(output)))]
    if processes is None:
        return _all_of(recordings, [functools.partial(_call, "run", words, True) for words in lines], 0)
    return _all_of(recordings, [functools.partial(_call_apart, "run", words) for words in lines], processes)


def _files(files: Union[Path, Sequence[Path]]) -> list[str]:
    if isinstance(files, (str, os.PathLike)):
        return [_file(files)]
    return [_file(file) for file in files]


def _folders(recordings: Sequence[Path], output: str) -> list[str]:
    names = [os.path.splitext(os.path.basename(os.fspath(recording)))[0] for recording in recordings]
    twice = sorted({name for name in names if names.count(name) > 1})
    if twice:
        raise UsageError(f"Several recordings are called {twice[0]}; run those of each folder into a folder of its "
                         "own.")
    return [os.path.join(output, name) for name in names]


def _all_of(recordings: Sequence[Path], calls: Sequence[Any], processes: int) -> list[Document]:
    """The documents of all calls; raises ``DataError`` at the end if one failed."""
    failures: list[str] = []
    documents: list[Document] = []
    with concurrent.futures.ThreadPoolExecutor(max(processes, 1)) as workers:
        # Within this process the calls are made by this thread, which an interruption reaches.
        futures = [workers.submit(call) if processes else _done(call) for call in calls]
        try:
            for recording, future in zip(recordings, futures):
                try:
                    documents.append(future.result())
                except (DataError, UsageError) as error:
                    failures.append(f"{os.fspath(recording)}: {error}")
                    documents.append({"error": str(error), **getattr(error, "document", {})})
        except BaseException:
            workers.shutdown(cancel_futures=True)
            raise
    if failures:
        raise DataError(f"{len(failures)} of {len(documents)} recordings failed. " + " ".join(failures),
                        documents=documents)
    return documents


def _done(call: Any) -> "concurrent.futures.Future[Document]":
    future: "concurrent.futures.Future[Document]" = concurrent.futures.Future()
    try:
        future.set_result(call())
    except (DataError, UsageError) as error:
        future.set_exception(error)
    return future


def _call_apart(command: str, words: Sequence[str]) -> Document:
    """The same in a process of its own."""
    environment = dict(os.environ)
    package = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    environment["PYTHONPATH"] = os.pathsep.join(filter(None, [package, environment.get("PYTHONPATH")]))
    finished = subprocess.run([sys.executable, "-m", "qor", command, *words, "--json", "--quiet"], check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env=environment, text=True, errors="replace")
    try:
        document = _document(finished.stdout)
    except json.JSONDecodeError:
        document = {}
    return _judged(command, finished.returncode, document, finished.stderr)
