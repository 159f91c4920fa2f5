# SPDX-License-Identifier: MIT
"""Runs the Python blocks of a page, one after the other, as one program.

    run_blocks.py PAGE"""

import re
import sys

with open(sys.argv[1], encoding="utf-8") as file:
    blocks = re.findall(r"^```python\n(.*?)^```$", file.read(), re.M | re.S)
if not blocks:
    sys.exit("the page has no block")
exec(compile("\n".join(blocks), sys.argv[1], "exec"), {"__name__": "__main__"})
