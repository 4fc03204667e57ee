# SPDX-License-Identifier: Apache-2.0
"""Recordings x settings to one table of figures, on all cores of this machine or on a Dask cluster.

`qor sweep` is the command line of this package. A row of the table is what `evaluate` gives for one recording and one
list of settings. docs/archives.md tells how to use both.
"""

from .evaluation import evaluate

__all__ = ["evaluate"]
