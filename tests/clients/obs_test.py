"""The example for OBS, with the real service, the simulator, and an OBS of the test's own behind authentication."""
import asyncio
import contextlib
import json
import os
import re
import signal
import threading
import time
import unittest

import websockets

from session import CLIENTS, Session
import obs

PASSWORD = "supersecretpassword"
SALT, CHALLENGE = "lM1GncleQOaCu9lT1yeUZhFYnqhsLLP1G5lAGo3ixaI=", "+IxH4CnCiqpX1rM9scsNynZzbOe4KhDeYcTNS3PDaeY="
ANSWER = "1Ct943GAT+6YQUUX47Ia/ncufilbe6+oD6lY+5kaCu4="


class FakeObs(threading.Thread):
    """Notes the chapters. A recording began a hundred seconds before the test, unless it `refuses`."""

    def __init__(self, refuses=None, password=ANSWER):
        super().__init__(daemon=True)
        self.chapters, self._refuses, self._answer = [], refuses, password
        self.began, self.recording = time.monotonic() - 100, refuses != 501
        self._ready = threading.Event()
        self.start()
        self._ready.wait(10)

    def run(self):
        asyncio.run(self._serve())

    async def _serve(self):
        self._end, self._loop = asyncio.Event(), asyncio.get_running_loop()
        async with websockets.serve(self._take, "127.0.0.1", 0, close_timeout=1) as server:
            self.url = "ws://127.0.0.1:%d" % server.sockets[0].getsockname()[1]
            self._ready.set()
            await self._end.wait()

    def leave(self):
        self._loop.call_soon_threadsafe(self._end.set)
        self.join()

    async def _take(self, socket, _path=None):
        with contextlib.suppress(websockets.ConnectionClosed):
            await self._talk(socket)

    async def _talk(self, socket):
        wanted = {"authentication": {"challenge": CHALLENGE, "salt": SALT}} if self._answer else {}
        await socket.send(json.dumps({"op": 0, "d": {"obsWebSocketVersion": "5.5.2", "rpcVersion": 1, **wanted}}))
        identify = json.loads(await socket.recv())
        if identify["op"] != 1 or identify["d"].get("authentication") != self._answer:
            await socket.close(4009, "Authentication failed.")
            return
        await socket.send(json.dumps({"op": 2, "d": {"negotiatedRpcVersion": 1}}))
        async for message in socket:
            asked = json.loads(message)["d"]
            status, data = getattr(self, asked["requestType"])(**asked["requestData"])
            await socket.send(json.dumps({"op": 7, "d": {"requestType": asked["requestType"], "requestId": asked["requestId"],
                                                         "requestStatus": status, "responseData": data}}))

    def GetRecordStatus(self):
        duration = int((time.monotonic() - self.began) * 1000) if self.recording else 0
        return {"result": True, "code": 100}, {"outputActive": self.recording, "outputDuration": duration}

    def CreateRecordChapter(self, chapterName):
        if self._refuses:
            return {"result": False, "code": self._refuses, "comment": "Verify the output."}, {}
        self.chapters.append(chapterName)
        return {"result": True, "code": 100}, {}


class ObsTest(Session):
    def setUp(self):
        super().setUp()
        os.environ["OBS_WEBSOCKET_PASSWORD"] = PASSWORD

    def show(self, fake, *slides):
        """The marker, after a show whose slides the service has told."""
        self.start_service()
        recorder, program = self.start(CLIENTS / "record.py", self.home / "captures"), self.launch_program()
        recorder.wait_for("ProgramLaunched")
        marker = self.start(CLIENTS / "obs.py", fake.url)
        marker.wait_for("Connected")
        program.play("start")
        recorder.wait_for("PresentedSlide")
        for slide in slides:
            program.play(f"slide {slide}")
            recorder.wait_for("PresentedSlide")
        return marker, program

    def test_marks_slides_and_tells_the_offset(self):
        fake, before = FakeObs(), time.monotonic()
        marker, _ = self.show(fake, 3, 1)
        self.wait_until(lambda: len(fake.chapters) == 3)
        self.assertEqual(fake.chapters, ["001 Slide 1", "002 Slide 3", "003 Slide 1"])
        offset = float(re.search(r"^keynote-capture export [0-9A-F-]{36} --offset ([\d.]+)$", marker.wait_for("--offset"))[1])
        self.assertTrue(before < fake.began + offset < time.monotonic())
        marker.send(signal.SIGINT)
        self.assertEqual(marker.rest(), 0)

    def test_says_once_what_obs_does_not_do(self):
        for code, sentence in ((501, "OBS does not record; start its recording."),
                               (702, "OBS makes no chapters in this recording; of its formats Hybrid MP4 alone has them, from "
                                     "OBS 30.2 on. Verify the output.")):
            with self.subTest(sentence):
                self.doCleanups()
                self.setUp()
                fake = FakeObs(code, password=None)
                marker, program = self.show(fake, 3)
                marker.wait_for(sentence)
                fake.leave()
                program.play("slide 1")
                self.assertEqual(marker.rest(), 1)
                self.assertEqual([line for line in marker.lines if sentence in line], [sentence])
                self.assertEqual(marker.lines[-1], "obs.py: OBS has gone.")

    def test_says_why_it_cannot_connect(self):
        fake = FakeObs()
        for url, password, sentence in (
                (fake.url, "wrong", "OBS refused the password."), (fake.url, "", "OBS wants a password"),
                ("ws://127.0.0.1:1", "", "OBS does not answer at ws://127.0.0.1:1: is it running"), ("nowhere", "", "OBS does not answer at nowhere")):
            marker = self.start(CLIENTS / "obs.py", url, environment={**os.environ, "OBS_WEBSOCKET_PASSWORD": password})
            self.assertEqual(marker.rest(), 1)
            self.assertTrue(marker.lines[-1].startswith("obs.py: " + sentence), marker.lines)

    def test_answers_a_challenge_like_the_example_of_the_protocol(self):
        self.assertEqual(obs.authentication(PASSWORD, SALT, CHALLENGE), ANSWER)


if __name__ == "__main__":
    unittest.main()
