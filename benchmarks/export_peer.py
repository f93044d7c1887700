"""What extract is measured against: the office loads a deck and exports its pages in one batch through UNO.

usage: export_peer.py PIPE DECK FOLDER     prints the seconds that it took, and those of the export alone
Needs the office's own bridge to Python (package python3-uno), and so the system's Python.
"""

import pathlib
import sys
import time

import uno
from com.sun.star.beans import PropertyValue

WIDTH = 1440
QUALITY = 80


def properties(**values):
    return tuple(PropertyValue(Name=name, Value=value) for name, value in values.items())


def main():
    pipe, deck, folder = sys.argv[1], pathlib.Path(sys.argv[2]).resolve(), pathlib.Path(sys.argv[3]).resolve()
    local = uno.getComponentContext()
    resolver = local.ServiceManager.createInstanceWithContext("com.sun.star.bridge.UnoUrlResolver", local)
    office = resolver.resolve(f"uno:pipe,name={pipe};urp;StarOffice.ComponentContext")
    create = office.ServiceManager.createInstanceWithContext

    begin = time.monotonic()
    desktop = create("com.sun.star.frame.Desktop", office)
    document = desktop.loadComponentFromURL(deck.as_uri(), "_blank", 0, properties(Hidden=True, ReadOnly=True))
    pages = document.getDrawPages()
    loaded = time.monotonic()
    exporter = create("com.sun.star.drawing.GraphicExportFilter", office)
    first = pages.getByIndex(0)
    options = uno.Any("[]com.sun.star.beans.PropertyValue", properties(
        PixelWidth=WIDTH, PixelHeight=round(WIDTH * first.Height / first.Width), Quality=QUALITY))
    for index in range(pages.getCount()):
        exporter.setSourceDocument(pages.getByIndex(index))
        exporter.filter(properties(URL=(folder / f"slide.{index + 1:03}.jpg").as_uri(), MediaType="image/jpeg",
                                   FilterData=options))
    exported = time.monotonic()
    document.close(False)
    print(time.monotonic() - begin, exported - loaded)


main()
