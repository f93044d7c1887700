"""Recording lectures with the capture service, and following what it knows of the screen.

    with keynote_capture.Recording("/home/me/lectures/12") as recording:
        for event in recording:
            print(event)

    for entry in keynote_capture.Timeline():
        print(entry)

Needs python3-gi. Events come in the thread that made the object, while it iterates or runs a GLib main loop.
"""
import collections
import datetime
import pathlib
import re
import typing
import uuid

from gi.repository import Gio, GLib

SERVICE = "com.veldrin.KeynoteCaptureService"
SERVICE_PATH = "/com/veldrin/KeynoteCaptureService"
DELEGATE_PATH = "/com/veldrin/KeynoteCaptureServiceDelegate"
TIMELINE = "com.veldrin.KeynoteCaptureTimeline1"
BUS, BUS_PATH = "org.freedesktop.DBus", "/org/freedesktop/DBus"
EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)


class CaptureError(Exception):
    """What went wrong: `domain` and `code` as in the table of errors, `text` for people, which may be empty.
    What the bus itself says has the name of the D-Bus error as its domain, and code 0."""

    def __init__(self, domain, code, text):
        super().__init__(text or f"{domain}, error {code}")
        self.domain, self.code, self.text = domain, code, text


class ServiceLost(CaptureError):
    """The service, or the bus, has gone: what was under way has ended. Begin anew."""


class ProgramLaunched(typing.NamedTuple):
    """A presentation program is watched."""


class ProgramTerminated(typing.NamedTuple):
    """The watched program is gone."""


class StartedPresenting(typing.NamedTuple):
    """A show is on. With an error there may be no archive copy; slides are told nevertheless."""
    presentation_id: str
    document: typing.Optional[pathlib.Path]
    archive: typing.Optional[str]
    error: typing.Optional[CaptureError]


class PresentedSlide(typing.NamedTuple):
    """A slide was seen `at` that moment. The image comes when the show has ended."""
    presentation_id: str
    slide: int
    at: datetime.datetime
    image: typing.Optional[pathlib.Path]


class StoppedPresenting(typing.NamedTuple):
    """The show has ended and its images are in place, all of them unless there is an error."""
    presentation_id: str
    error: typing.Optional[CaptureError]


class ExtractedSlides(typing.NamedTuple):
    """An extraction has ended: images and text lie beside the deck, all of them unless there is an error."""
    deck: pathlib.Path
    error: typing.Optional[CaptureError]


class SavingEnded(typing.NamedTuple):
    """Everything that was to be saved is; or the program ended before that."""
    error: typing.Optional[CaptureError]


class TimelineEntry(typing.NamedTuple):
    """Something happened between earliest and latest. `event` is showStarted, slideShown, showEnded, unseenFrom or
    unseenTo; `slide` and `position` are 0 where there is none. Steady times are microseconds of the clock that
    `time.monotonic_ns` reads. `earliest` is None, and the steady one 0, when it may have happened at any time before."""
    recording_id: str
    presentation_id: str
    event: str
    slide: int
    position: int
    earliest: typing.Optional[datetime.datetime]
    latest: datetime.datetime
    steady_earliest: int
    steady_latest: int


class ServiceLeft(typing.NamedTuple):
    """The service has gone, and the timeline with it until another service comes."""


class State(typing.NamedTuple):
    """What the timeline says of now: whether a recorded show runs, whose, its slide (0 for none), and since when."""
    playing: bool
    presentation_id: str
    slide: int
    since: typing.Tuple[datetime.datetime, datetime.datetime]


def _date(microseconds):
    try:
        return EPOCH + datetime.timedelta(microseconds=microseconds)
    except OverflowError:
        return EPOCH


def _path(url):
    path = Gio.File.new_for_uri(url).get_path()
    return pathlib.Path(path) if path else None


def _error(error):
    domain, code, information = error
    return CaptureError(domain, code, str(information.get("NSLocalizedDescription", ""))) if domain else None


def _raised(error, kind=CaptureError):
    """The exception for a call that failed."""
    name = Gio.DBusError.get_remote_error(error) or error.domain
    ours = re.fullmatch(r"com\.veldrin\.Error\.(.+)\.Code(-?\d+)", name)
    return kind(ours[1] if ours else name, int(ours[2]) if ours else 0,
                error.message.removeprefix(f"GDBus.Error:{name}: "))


# The calls on the delegate: the types of their arguments, and the event that they become.
_CALLS = {
    "detectedKeynoteLaunched": ([], ProgramLaunched),
    "detectedKeynoteTerminated": ([], ProgramTerminated),
    "startedPresenting": (["s", "s", "s", "(sia{sv})"], lambda show, url, archive, error: StartedPresenting(
        show, _path(url), archive or None, _error(error))),
    "slideDeckPresentedSlide": (["s", "x", "x", "s"], lambda show, slide, at, url: PresentedSlide(
        show, slide, _date(at), _path(url))),
    "stoppedPresenting": (["s", "(sia{sv})"], lambda show, error: StoppedPresenting(show, _error(error))),
    "extractedSlideFilesForPresentation": (["s", "(sia{sv})"], lambda deck, error: ExtractedSlides(
        pathlib.Path(deck), _error(error))),
    "savedArchiveDocuments": ([], lambda: SavingEnded(None)),
    "failedToSaveArchiveDocumentError": (["(sia{sv})"], lambda error: SavingEnded(_error(error))),
}


def _delegate():
    methods = "".join(f"<method name='{name}'>{''.join(f'<arg type={kind!r}/>' for kind in types)}</method>"
                      for name, (types, _) in _CALLS.items())
    return Gio.DBusNodeInfo.new_for_xml(
        f"<node><interface name='com.veldrin.KeynoteCaptureServiceDelegate'>{methods}</interface></node>").interfaces[0]


class _Connection:
    """A connection of one's own to the session bus; what comes over it from the service is an iterator of events."""

    def __init__(self):
        self._events, self._lost, self._ends, self._owner = collections.deque(), None, False, ""
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        try:
            address = Gio.dbus_address_get_for_bus_sync(Gio.BusType.SESSION, None)
            self._bus = Gio.DBusConnection.new_for_address_sync(address, flags, None, None)
            self._bus.signal_subscribe(BUS, BUS, "NameOwnerChanged", BUS_PATH, SERVICE, Gio.DBusSignalFlags.NONE,
                                       lambda _bus, _sender, _path, _interface, _name, names: self._pass_on(*names))
        except GLib.Error as error:
            raise _raised(error, ServiceLost) from error
        self._bus.connect("closed", lambda *_: self._lose("The session bus has gone."))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def __iter__(self):
        return self

    def __next__(self):
        while not self._events:
            if self._is_done():
                raise StopIteration
            if self._lost:
                raise self._lost
            self._wait()
        return self._events.popleft()

    def close(self):
        """Leaves the bus; the service then stops what this connection began."""
        self._ends = True
        if not self._bus.is_closed():
            self._bus.close_sync(None)

    def follow_timeline(self):
        """From here on what the service knows of the screen comes too, of every recording."""
        # Anybody can send a signal to us, and the library believes what it finds under a well-known name.
        self._bus.signal_subscribe(SERVICE, TIMELINE, "entry", SERVICE_PATH, None, Gio.DBusSignalFlags.NONE,
                                   lambda _bus, sender, _path, _interface, _name, entry: self._note(sender, entry.unpack()))

    @staticmethod
    def _wait():
        """A main loop of GLib forgets a signal that comes just before it runs. So one iteration at a time; a signal that
        comes just before that is taken within a second."""
        timer = GLib.timeout_add_seconds(1, lambda: GLib.SOURCE_CONTINUE)
        try:
            GLib.MainContext.default().iteration(True)
        finally:
            GLib.source_remove(timer)

    def _is_done(self):
        return self._ends

    def _note(self, sender, entry):
        recording, presentation, event, slide, position, earliest, latest, *steady = entry
        if sender == self._owner:
            self._put(TimelineEntry(recording, presentation, event, slide, position, _date(earliest) if earliest else None,
                                    _date(latest), *steady))

    def _put(self, event):
        self._events.append(event)

    def _lose(self, text):
        self._lost = ServiceLost(SERVICE, 0, text)

    def _pass_on(self, _name, old, new):
        had, self._owner = self._owner, new
        if old and old == had:
            self._leave()

    def _leave(self):
        self._lose("The capture service has gone.")

    def _ask(self, destination, path, interface, method, types, *arguments):
        try:
            return self._bus.call_sync(destination, path, interface, method, GLib.Variant(f"({types})", arguments), None,
                                       Gio.DBusCallFlags.NO_AUTO_START, -1, None).unpack()
        except GLib.Error as error:
            raise _raised(error) from error

    def _ask_bus(self, method, types, *arguments):
        return self._ask(BUS, BUS_PATH, BUS, method, types, *arguments)[0]

    def _call(self, method, types="", *arguments):
        """Of the very service that answered first: another one would know nothing of us."""
        return self._ask(self._owner, SERVICE_PATH, "com.veldrin.KeynoteCaptureServiceProtocol", method, types, *arguments)


class _Host(_Connection):
    """Whom the service tells."""

    def __init__(self):
        super().__init__()
        self._bus.register_object(DELEGATE_PATH, _delegate(), self._called)
        try:
            if not self._ask_bus("NameHasOwner", "s", SERVICE):
                self._ask_bus("StartServiceByName", "su", SERVICE, 0)
            self._owner = self._ask_bus("GetNameOwner", "s", SERVICE)
        except CaptureError:
            self.close()
            raise

    def _called(self, _bus, sender, _path, _interface, method, arguments, invocation):
        if sender != self._owner:
            invocation.return_dbus_error("org.freedesktop.DBus.Error.AccessDenied", "Only the capture service may call this.")
            return
        self._take(_CALLS[method][1](*arguments.unpack()))
        invocation.return_value(None)

    def _take(self, event):
        self._put(event)


class Recording(_Host):
    """Records into a directory from its beginning until it is closed, over a connection of its own.

    Iterating waits for events without end; `finish` ends it properly. Raises CaptureError when the start fails, and
    ServiceLost when the service leaves: then make another one, into the same directory."""

    def __init__(self, directory, recording_id=None, timeline=False):
        super().__init__()
        self._shows, self._finishes = set(), False
        if timeline:
            self.follow_timeline()
        # The bridge to the user's office, where it does not run yet. Without it there is nothing to see, but no error.
        self._bus.call(BUS, BUS_PATH, BUS, "StartServiceByName", GLib.Variant("(su)", ("com.veldrin.KeynoteImpress", 0)),
                       None, Gio.DBusCallFlags.NONE, -1, None, None)
        try:
            self._call("startDetectionAndCaptureTo", "ss", pathlib.Path(directory).absolute().as_uri(),
                       recording_id or f"python-{uuid.uuid4()}")
        except CaptureError:
            self.close()
            raise

    def finish(self):
        """Itself; iterating now ends when no show is on and all images have been waited for."""
        self._finishes = True
        return self

    def stop_presenting(self):
        """Asks the program to end the show."""
        self._call("stopPresenting")

    def set_polling_interval(self, seconds):
        """How often the program is looked at; 0.25 unless set."""
        self._call("setKeynotePollingInterval", "d", seconds)

    def _is_done(self):
        return self._ends or (self._finishes and not self._shows and not self._lost)

    def _take(self, event):
        if isinstance(event, StartedPresenting):
            self._shows.add(event.presentation_id)
        elif isinstance(event, StoppedPresenting):
            self._shows.discard(event.presentation_id)
        self._put(event)


class Timeline(_Connection):
    """What the service knows of the screen, of every recording; starts none, and goes on with the next service."""

    def __init__(self):
        super().__init__()
        self.follow_timeline()
        if self._ask_bus("NameHasOwner", "s", SERVICE):
            self._owner = self._ask_bus("GetNameOwner", "s", SERVICE)

    def state(self):
        """The state after the latest entry; None without a service."""
        if not self._owner:
            return None
        values = self._ask(self._owner, SERVICE_PATH, "org.freedesktop.DBus.Properties", "GetAll", "s", TIMELINE)[0]
        return State(values["Playing"], values["PresentationID"], values["SlideNumber"], tuple(map(_date, values["Since"])))

    def _leave(self):
        self._put(ServiceLeft())


def extract(deck, slides):
    """Writes the images of these slides, by number, and the text of a saved deck beside it. Raises CaptureError."""
    with _Host() as host:
        host._call("extractSlideFiles", "ass", [f"slide.{number:03}.jpg" for number in slides], str(pathlib.Path(deck).absolute()))
        error = next(event for event in host if isinstance(event, ExtractedSlides)).error
    if error:
        raise error
