#!/usr/bin/python3 -u
"""Marks the slides of a lecture as chapters in the video that OBS records, while `keynote-capture record` runs.

    OBS_WEBSOCKET_PASSWORD=... obs.py [ws://localhost:4455]

At the beginning of a show it prints the --offset with which `keynote-capture export` makes exact chapters of that video
afterwards. OBS (28 or later) makes chapters while it records from 30.2 on, in the format Hybrid MP4 only; they are late
by the time that it takes to notice a slide. Needs python3-gi and python3-websockets.
"""
import asyncio
import base64
import hashlib
import json
import os
import sys
import time

import keynote_capture
import websockets

ANSWER_SECONDS = 5
AUTHENTICATION_FAILED = 4009
NOT_RECORDING = 501


class ObsError(Exception):
    """OBS cannot be reached, or has refused; the text says what helps."""


def authentication(password, salt, challenge):
    def digest(text):
        return base64.b64encode(hashlib.sha256(text.encode()).digest()).decode()
    return digest(digest(password + salt) + challenge)


class Obs:
    """A connection by the protocol obs-websocket 5. It blocks, each answer being awaited for five seconds."""

    def __init__(self, url):
        self._loop, self._requests = asyncio.new_event_loop(), 0
        try:
            self._socket = self._wait(self._connected(url))
        except (OSError, websockets.InvalidHandshake, websockets.InvalidURI) as error:
            raise ObsError(f"OBS does not answer at {url}: is it running, and its WebSocket server enabled (menu Tools)?") from error

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._loop.run_until_complete(self._socket.close())
        self._loop.close()

    def identify(self, password):
        hello = self._receive(0)
        identify = {"rpcVersion": 1, "eventSubscriptions": 0}
        if "authentication" in hello:
            if not password:
                raise ObsError("OBS wants a password: put it into OBS_WEBSOCKET_PASSWORD.")
            identify["authentication"] = authentication(password, **hello["authentication"])
        self._send(1, identify)
        self._receive(2)

    def request(self, name, **data):
        """The status of the answer, and what it says."""
        self._requests += 1
        self._send(6, {"requestType": name, "requestId": str(self._requests), "requestData": data})
        answer = self._receive(7)
        return answer["requestStatus"], answer.get("responseData", {})

    @staticmethod
    async def _connected(url):
        # Between requests nobody would take the answers to the library's own pings.
        return await websockets.connect(url, ping_interval=None, close_timeout=1)

    def _send(self, code, data):
        self._wait(self._socket.send(json.dumps({"op": code, "d": data})))

    def _receive(self, code):
        message = json.loads(self._wait(self._socket.recv()))
        if message["op"] != code:
            raise ObsError(f"OBS answered something unexpected (op {message['op']}).")
        return message["d"]

    def _wait(self, what):
        try:
            return self._loop.run_until_complete(asyncio.wait_for(what, ANSWER_SECONDS))
        except asyncio.TimeoutError as error:
            raise ObsError("OBS does not answer.") from error
        except websockets.ConnectionClosed as error:
            refused = error.rcvd and error.rcvd.code == AUTHENTICATION_FAILED
            raise ObsError("OBS refused the password." if refused else "OBS has gone.") from error


class Marker:
    """Makes the chapters of the shows."""

    def __init__(self, obs):
        self._obs, self._said, self._started, self._chapters = obs, set(), None, 0

    def take(self, entry):
        if entry.event == "showStarted":
            self._started = entry
        self._tell_offset()
        if entry.event == "slideShown":
            self._mark(entry)

    def _tell_offset(self):
        """Once for each show: when it began in the video, by what OBS has recorded by now."""
        if not self._started:
            return
        before = time.monotonic()
        _, record = self._obs.request("GetRecordStatus")
        now = (before + time.monotonic()) / 2
        if not record.get("outputActive"):
            self._say("OBS does not record; start its recording.")
            return
        began = (self._started.steady_earliest or self._started.steady_latest) + self._started.steady_latest
        offset = record["outputDuration"] / 1e3 - (now - began / 2e6)
        print(f"keynote-capture export {self._started.presentation_id} --offset {offset:.3f}")
        self._started = None

    def _mark(self, entry):
        # Some editors are upset by two chapters of one name.
        status, _ = self._obs.request("CreateRecordChapter", chapterName=f"{self._chapters + 1:03} Slide {entry.slide}")
        if status["result"]:
            self._chapters += 1
        elif status["code"] == NOT_RECORDING:
            self._say("OBS does not record; start its recording.")
        else:
            self._say("OBS makes no chapters in this recording; of its formats Hybrid MP4 alone has them, from OBS 30.2 on. " +
                      status.get("comment", ""))

    def _say(self, text):
        """Each sentence once."""
        if text not in self._said:
            self._said.add(text)
            print(text.strip(), file=sys.stderr)


def mark(url, password):
    with Obs(url) as obs:
        obs.identify(password)
        print("Connected to OBS; interrupt to stop.", file=sys.stderr)
        marker = Marker(obs)
        for entry in keynote_capture.Timeline():
            if isinstance(entry, keynote_capture.TimelineEntry):
                marker.take(entry)


def main():
    try:
        mark(sys.argv[1] if len(sys.argv) > 1 else "ws://localhost:4455", os.environ.get("OBS_WEBSOCKET_PASSWORD"))
    except (ObsError, keynote_capture.CaptureError) as error:
        sys.exit(f"obs.py: {error}")
    except KeyboardInterrupt:
        pass


if __name__ == "__main__":
    main()
