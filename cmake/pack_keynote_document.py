"""Packs the text form of a Keynote document: pack_keynote_document.py INDEX.APXL DOCUMENT.key"""

import sys
import zipfile

with zipfile.ZipFile(sys.argv[2], "w") as package, open(sys.argv[1], "rb") as text:
    package.writestr(zipfile.ZipInfo("index.apxl"), text.read())
