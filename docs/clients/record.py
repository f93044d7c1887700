#!/usr/bin/python3 -u
"""Records with the capture service: record.py DIRECTORY. Needs python3-dbus and python3-gi."""
import pathlib, sys
import dbus, dbus.mainloop.glib, dbus.service
from gi.repository import GLib

DELEGATE = "com.veldrin.KeynoteCaptureServiceDelegate"
dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
bus, loop = dbus.SessionBus(), GLib.MainLoop()


class Delegate(dbus.service.Object):
    @dbus.service.method(DELEGATE, in_signature="sss(sia{sv})")
    def startedPresenting(self, presentationID, originalDocumentPath, archive, error):
        print("started", presentationID, originalDocumentPath, archive, error[2].get("NSLocalizedDescription", ""))

    @dbus.service.method(DELEGATE, in_signature="sxxs")
    def slideDeckPresentedSlide(self, presentationID, presentedSlide, at, imageFilePathURL):
        print("slide", presentedSlide, "at", at / 1e6, imageFilePathURL)

    @dbus.service.method(DELEGATE, in_signature="s(sia{sv})")
    def stoppedPresenting(self, presentationID, error):
        print("stopped", presentationID, "error %d" % error[1] if error[0] else "all images are in place")

    @dbus.service.method(DELEGATE)
    def detectedKeynoteLaunched(self):
        print("program found")

    @dbus.service.method(DELEGATE)
    def detectedKeynoteTerminated(self):
        print("program gone")


delegate = Delegate(bus, "/com/veldrin/KeynoteCaptureServiceDelegate")
service = dbus.Interface(bus.get_object("com.veldrin.KeynoteCaptureService", "/com/veldrin/KeynoteCaptureService"),
                         "com.veldrin.KeynoteCaptureServiceProtocol")
try:
    service.startDetectionAndCaptureTo(pathlib.Path(sys.argv[1]).absolute().as_uri(), "from-python")
    loop.run()
except dbus.DBusException as error:
    sys.exit(f"{error.get_dbus_name()}: {error.get_dbus_message()}")
except KeyboardInterrupt:
    service.stopDetectionAndCapture()
