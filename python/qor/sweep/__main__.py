# SPDX-License-Identifier: Apache-2.0
"""python3 -m qor.sweep"""

import sys

from .command import main

if __name__ == "__main__":
    sys.exit(main())
