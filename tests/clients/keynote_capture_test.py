"""The Python module and the example over it, with the real service and the simulator."""
import datetime
import os
import signal
import unittest

from session import CLIENTS, Session
import keynote_capture
from gi.repository import Gio, GLib


class KeynoteCapture(Session):
    def next(self, source, kind):
        return next(event for event in source if isinstance(event, kind))

    def test_records_a_show_and_waits_for_its_images(self):
        service, program = self.start_service(), self.launch_program()
        with keynote_capture.Recording(self.home / "Läufe 1", timeline=True) as recording:
            self.assertIsInstance(next(recording), keynote_capture.ProgramLaunched)
            program.play("start")
            started = self.next(recording, keynote_capture.StartedPresenting)
            self.assertEqual((started.archive, started.error), (f"{started.presentation_id}.key", None))
            first = self.next(recording, keynote_capture.PresentedSlide)
            self.assertEqual((first.slide, first.presentation_id), (1, started.presentation_id))
            self.assertLess(abs(datetime.datetime.now(datetime.timezone.utc) - first.at), datetime.timedelta(minutes=1))
            program.play("slide 3")
            shown = self.next(recording, keynote_capture.TimelineEntry)
            self.assertEqual((shown.event, shown.slide), ("slideShown", 3))
            third = self.next(recording, keynote_capture.PresentedSlide)
            program.play("stop")
            ended, stopped = recording.finish()
            self.assertEqual((ended.event, stopped), ("showEnded", (started.presentation_id, None)))
            for slide, name in ((first, "slide.001.jpg"), (third, "slide.003.jpg")):
                self.assertEqual((slide.image.name, slide.image.read_bytes()[:2]), (name, b"\xff\xd8"))
        service.send(signal.SIGTERM)
        self.assertEqual(service.rest(), 0)

    def test_follows_the_timeline_over_several_services(self):
        timeline = keynote_capture.Timeline()
        self.assertIsNone(timeline.state())
        for _ in range(2):
            service, program = self.start_service(), self.launch_program()
            with keynote_capture.Recording(self.home / "captures", "lecture") as recording:
                self.next(recording, keynote_capture.ProgramLaunched)
                program.play("start")
                shown = next(entry for entry in timeline if entry.event == "slideShown")
                self.assertEqual((shown.recording_id, shown.slide), ("lecture", 1))
                self.assertLessEqual(shown.earliest, shown.latest)
                self.assertEqual(timeline.state(), (True, shown.presentation_id, 1, (shown.earliest, shown.latest)))
                service.send(signal.SIGKILL)
                self.next(timeline, keynote_capture.ServiceLeft)
            program.play("quit")

    def test_extracts(self):
        self.start_service()
        program = self.launch_program()
        program.play(f"deck Waves file {self.home}/waves.key slides 2")
        (self.home / "waves.key").touch()
        keynote_capture.extract(self.home / "waves.key", [1])
        self.assertTrue((self.home / "slide.001.jpg").stat().st_size)
        with self.assertRaises(keynote_capture.CaptureError) as raised:
            keynote_capture.extract(self.home / "waves.key", [1] * 10001)
        self.assertEqual(raised.exception.domain, "org.freedesktop.DBus.Error.LimitsExceeded")

    def test_says_why_it_cannot_start(self):
        with self.assertRaises(keynote_capture.CaptureError) as raised:
            keynote_capture.Recording(self.home)
        self.assertEqual(raised.exception.domain, "org.freedesktop.DBus.Error.ServiceUnknown")
        self.start_service()
        (self.home / "file").touch()
        with self.assertRaises(keynote_capture.CaptureError) as raised:
            keynote_capture.Recording(self.home / "file")
        error = raised.exception
        self.assertEqual((error.domain, error.code), ("KeynoteCaptureServiceErrorDomain", 1))
        self.assertEqual(str(error), "File, rather than a directory, exists at specified capture directory")

    def test_raises_when_service_or_bus_leave(self):
        for text in ("The capture service has gone.", "The session bus has gone."):
            service = self.start_service()
            recording = keynote_capture.Recording(self.home / "captures")
            (service if "service" in text else self.bus).send(signal.SIGKILL)
            with self.assertRaisesRegex(keynote_capture.ServiceLost, text):
                list(recording)

    def test_believes_the_service_only(self):
        self.start_service()
        recording, timeline = keynote_capture.Recording(self.home / "captures", timeline=True), keynote_capture.Timeline()
        forger = Gio.DBusConnection.new_for_address_sync(
            os.environ["DBUS_SESSION_BUS_ADDRESS"],
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)
        entry = GLib.Variant("(sssxxxxxx)", ("r", "p", "slideShown", 7, 0, 1, 1, 1, 1))
        owners = GLib.Variant("(sss)", (keynote_capture.SERVICE, recording._owner, ""))
        for host in (recording, timeline):
            name = host._bus.get_unique_name()
            forger.emit_signal(name, keynote_capture.SERVICE_PATH, keynote_capture.TIMELINE, "entry", entry)
            forger.emit_signal(name, keynote_capture.BUS_PATH, keynote_capture.BUS, "NameOwnerChanged", owners)
        refused = []
        forger.call(recording._bus.get_unique_name(), keynote_capture.DELEGATE_PATH,
                    "com.veldrin.KeynoteCaptureServiceDelegate", "detectedKeynoteTerminated", None, None,
                    Gio.DBusCallFlags.NONE, -1, None, lambda source, result: refused.append(result))
        program = self.launch_program()
        self.assertIsInstance(next(recording), keynote_capture.ProgramLaunched)
        program.play("start")
        self.assertEqual(next(timeline).event, "showStarted")
        with self.assertRaisesRegex(GLib.Error, "AccessDenied"):
            forger.call_finish(refused[0])


class Record(Session):
    def test_ends_well_when_interrupted_in_a_show(self):
        self.start_service()
        program = self.launch_program()
        os.chdir(self.home)
        recorder = self.start(CLIENTS / "record.py")
        recorder.wait_for("ProgramLaunched")
        program.play("start")
        recorder.wait_for("PresentedSlide")
        recorder.send(signal.SIGINT)
        recorder.wait_for("interrupt again")
        program.play("stop")
        self.assertEqual(recorder.rest(), 0)
        self.assertIn("StoppedPresenting", recorder.lines[-1])
        self.assertEqual(len(list((self.home / "captures").glob("*/slide.001.jpg"))), 1)

    def test_says_what_is_wrong(self):
        recorder = self.start(CLIENTS / "record.py", "elsewhere")
        self.assertEqual(recorder.rest(), 1)
        self.assertRegex(recorder.lines[-1], "^record.py: The name com.veldrin.KeynoteCaptureService was not provided")
        service, recorder = self.start_service(), self.start(CLIENTS / "record.py", self.home / "captures")
        recorder.wait_for("interrupt to stop")
        service.send(signal.SIGKILL)
        self.assertEqual(recorder.rest(), 1)
        self.assertEqual(recorder.lines[-1], "record.py: The capture service has gone.")
        self.bus.send(signal.SIGKILL)
        self.bus.rest()
        recorder = self.start(CLIENTS / "record.py")
        self.assertEqual(recorder.rest(), 1)
        self.assertRegex(recorder.lines[-1], "^record.py: Could not connect")


if __name__ == "__main__":
    unittest.main()
