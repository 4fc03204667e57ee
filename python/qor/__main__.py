# SPDX-License-Identifier: Apache-2.0
"""``python3 -m qor`` is the command ``qor``."""

import signal
import sys

from . import _qor

# The command handles interruptions itself.
signal.signal(signal.SIGINT, signal.SIG_DFL)
sys.exit(_qor.program(sys.argv[1:]))
