#!/usr/bin/python3 -u
"""Records with the capture service: record.py [DIRECTORY]. Needs python3-gi."""
import sys
import keynote_capture

directory = sys.argv[1] if len(sys.argv) > 1 else "captures"
try:
    with keynote_capture.Recording(directory) as recording:
        print(f"Captures go to {directory}; interrupt to stop.", file=sys.stderr)
        try:
            for event in recording:
                print(event)
        except KeyboardInterrupt:
            print("Waiting for the end of the show and its images; interrupt again to stop at once.", file=sys.stderr)
            for event in recording.finish():
                print(event)
except keynote_capture.CaptureError as error:
    sys.exit(f"record.py: {error}")
except KeyboardInterrupt:
    sys.exit("record.py: stopped before the images came.")
