"""python3 -m tarn: sweep a unit into Touchstone or CSV, or plot a Touchstone file."""

import sys

from .cli import main

sys.exit(main())
