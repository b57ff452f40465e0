#!/usr/bin/env python3
"""A foreign host of the C API, the way an FFI binding uses it: Python's ctypes loads libobx.so,
initializes as a Flutter host whose delegate callbacks are Python functions, runs two screens with
a goal, a dimension and an error, sets consent and retention, reads the session ID and link, and
checks at obx-collector (a child process on 127.0.0.1, free port) that both screens arrived whole.

Usage: c_api_host_test.py LIBOBX_SO OBX_COLLECTOR [sdk-thread | host-drains]
  sdk-thread   the SDK serves its main queue on its own thread; the host only sleeps
  host-drains  the host's main thread calls obx_main_queue_drain() in its loop
"""

import ctypes
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import threading
import time

ACCOUNT = b"ffi-account"
PROPERTY = b"ffi-property"
ARRIVAL_TIMEOUT = 60.0
CALLBACK_TIMEOUT = 30.0

OBX_CONSENT_ANALYTICS_AND_RECORDING, OBX_CONSENT_ANALYTICS = 0, 1
OBX_PLATFORM_FLUTTER = 1
OBX_MAIN_QUEUE_SDK_THREAD, OBX_MAIN_QUEUE_HOST_DRAINS = 0, 1


class Configuration(ctypes.Structure):
    _fields_ = [("account", ctypes.c_char_p), ("property", ctypes.c_char_p), ("consent", ctypes.c_int),
                ("crash_reporter_enabled", ctypes.c_bool), ("mobile_data_enable", ctypes.c_bool),
                ("manual_screen_tracking", ctypes.c_bool), ("enhanced_logs_enabled", ctypes.c_bool),
                ("network_analytics_enable", ctypes.c_bool), ("custom_base_url", ctypes.c_char_p),
                ("custom_relay_url", ctypes.c_char_p), ("main_queue", ctypes.c_int)]


class Platform(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("version", ctypes.c_char_p), ("language", ctypes.c_char_p)]


class Sampling(ctypes.Structure):
    _fields_ = [("stop_tracking_due_to_sampling", ctypes.c_bool), ("stop_recording_due_to_sampling", ctypes.c_bool)]


LiveConfigCallback = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_char_p)
PerformanceCallback = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_void_p)
SamplingCallback = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.POINTER(Sampling))


class Delegate(ctypes.Structure):
    _fields_ = [("user_data", ctypes.c_void_p), ("live_config", LiveConfigCallback),
                ("performance", PerformanceCallback), ("sampling", SamplingCallback)]


def load(path):
    lib = ctypes.CDLL(path)
    signatures = {
        "obx_initialize_multiplatform_with_delegate": (ctypes.c_void_p, [ctypes.POINTER(Configuration),
                                                                         ctypes.POINTER(Platform),
                                                                         ctypes.POINTER(Delegate)]),
        "obx_set_delegate": (None, [ctypes.POINTER(Delegate)]),
        "obx_start_new_screen": (None, [ctypes.c_char_p, ctypes.c_bool]),
        "obx_stop_screen": (None, []),
        "obx_send_goal_value": (None, [ctypes.c_char_p, ctypes.c_float]),
        "obx_send_dimension_string": (None, [ctypes.c_char_p, ctypes.c_char_p]),
        "obx_send_error": (None, [ctypes.c_char_p]),
        "obx_set_consent": (None, [ctypes.c_int]),
        "obx_set_retention": (None, [ctypes.c_bool]),
        "obx_session_id": (ctypes.c_void_p, []),
        "obx_session_url": (ctypes.c_void_p, []),
        "obx_string_free": (None, [ctypes.c_void_p]),
        "obx_main_queue_drain": (ctypes.c_int32, []),
    }
    for name, (result, arguments) in signatures.items():
        function = getattr(lib, name)
        function.restype, function.argtypes = result, arguments
    return lib


def owned_text(lib, pointer):
    """A string the SDK handed over, copied and released; None for NULL."""
    if not pointer:
        return None
    try:
        return ctypes.string_at(pointer).decode()
    finally:
        lib.obx_string_free(pointer)


class Collector:
    """obx-collector on 127.0.0.1 with a free port; its first line says where it listens."""

    def __init__(self, executable, data):
        self.data = data
        self.process = subprocess.Popen([executable, "--host", "127.0.0.1", "--port", "0", "--data", str(data),
                                         "--account", ACCOUNT.decode()], stdout=subprocess.PIPE, text=True)
        first = self.process.stdout.readline().strip()
        if not first.startswith("listening on "):
            self.stop()
            raise RuntimeError("unexpected first line from the collector: " + first)
        self.base_url = first[len("listening on "):]
        # Its request lines are read off so that the pipe never fills.
        threading.Thread(target=self.process.stdout.read, daemon=True).start()

    def screens(self):
        """{session ID: [events of each completely stored screen, in arrival order]}."""
        sessions = {}
        for session in sorted(p for p in self.data.iterdir() if p.is_dir()) if self.data.exists() else []:
            for screen in sorted(p for p in session.iterdir() if p.is_dir()):
                if (screen / "upload.json").exists():
                    sessions.setdefault(session.name, []).append(json.loads((screen / "events.json").read_text()))
        return sessions

    def stop(self):
        self.process.terminate()
        self.process.wait(timeout=30)


class Host:
    """The host's side: its delegate, the threads its callbacks arrived on, and its wait loop."""

    def __init__(self, lib, mode):
        self.lib = lib
        self.mode = mode
        self.main_thread = threading.get_ident()
        self.lock = threading.Lock()
        self.live_configs = []
        self.samplings = []
        self.callback_threads = set()
        self.live_config_arrived = threading.Event()
        self.sampling_arrived = threading.Event()
        self.retention_returned = threading.Event()
        self.callbacks_made_while_host_blocked = 0
        self.drained = 0
        # ctypes keeps no reference to the callbacks: the host does, for as long as the SDK may call.
        self.table = Delegate(None, LiveConfigCallback(self.on_live_config), PerformanceCallback(),
                              SamplingCallback(self.on_sampling))

    def note_thread(self):
        with self.lock:
            self.callback_threads.add(threading.get_ident())

    def on_live_config(self, _user_data, text):
        self.note_thread()
        with self.lock:
            self.live_configs.append(json.loads(text.decode()))
        self.live_config_arrived.set()

    def on_sampling(self, _user_data, sampling):
        self.note_thread()
        # The host's thread is inside obx_set_retention until it returns: a callback made there, or
        # one the SDK waited for, would never see it return.
        if not self.retention_returned.wait(CALLBACK_TIMEOUT):
            with self.lock:
                self.callbacks_made_while_host_blocked += 1
        with self.lock:
            self.samplings.append((sampling.contents.stop_tracking_due_to_sampling,
                                   sampling.contents.stop_recording_due_to_sampling))
        self.sampling_arrived.set()

    def run_loop(self, seconds, until=None):
        """The host's main loop for `seconds`, or until `until()` holds; returns whether it did."""
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            if self.mode == "host-drains":
                self.drained += self.lib.obx_main_queue_drain()
            if until is not None and until():
                return True
            time.sleep(0.01)
        return until is not None and until()


def events_of(screen_events, kind):
    return [event for event in screen_events if event.get("t") == kind]


def payloads_of(screen_events, kind, *keys):
    return [tuple(event.get("d", {}).get(key) for key in keys) for event in events_of(screen_events, kind)]


def screen_name(screen_events):
    names = payloads_of(screen_events, "screen", "sN")
    return names[0][0] if names else None


def journey(lib, host, collector):
    """Runs the host's journey; returns the failures found."""
    failures = []

    def check(condition, message):
        if not condition:
            failures.append(message)

    configuration = Configuration(ACCOUNT, PROPERTY, OBX_CONSENT_ANALYTICS_AND_RECORDING, False, True, False, False,
                                  False, collector.base_url.encode(), (collector.base_url + "/replay/").encode(),
                                  OBX_MAIN_QUEUE_HOST_DRAINS if host.mode == "host-drains" else OBX_MAIN_QUEUE_SDK_THREAD)
    platform = Platform(OBX_PLATFORM_FLUTTER, b"3.19.0", b"Dart")
    initial = owned_text(lib, lib.obx_initialize_multiplatform_with_delegate(ctypes.byref(configuration),
                                                                              ctypes.byref(platform),
                                                                              ctypes.byref(host.table)))
    check(initial is not None and "useLiveConfiguration" in json.loads(initial),
          "initialization returned no live configuration: %r" % initial)

    lib.obx_start_new_screen(b"HomeScreen", False)
    host.run_loop(1.0)
    lib.obx_send_goal_value(b"bought", 9.5)
    lib.obx_send_dimension_string(b"plan", b"gold")
    lib.obx_send_error(b"card declined")
    host.run_loop(1.0)

    lib.obx_set_consent(OBX_CONSENT_ANALYTICS)
    lib.obx_set_retention(True)
    host.retention_returned.set()
    check(host.run_loop(CALLBACK_TIMEOUT, host.live_config_arrived.is_set), "no live configuration callback")
    check(host.run_loop(CALLBACK_TIMEOUT, host.sampling_arrived.is_set), "no sampling callback")

    lib.obx_start_new_screen(b"CartScreen", False)
    host.run_loop(1.0)
    lib.obx_send_goal_value(b"checkout", 2.0)
    host.run_loop(1.0)
    session_id = owned_text(lib, lib.obx_session_id())
    session_url = owned_text(lib, lib.obx_session_url())
    lib.obx_stop_screen()

    def both_screens_arrived():
        stored = collector.screens()
        return sum(len(screens) for screens in stored.values()) >= 2

    check(host.run_loop(ARRIVAL_TIMEOUT, both_screens_arrived), "the collector did not store two screens")
    if host.mode == "sdk-thread":
        check(lib.obx_main_queue_drain() == 0, "obx_main_queue_drain ran work the SDK's own thread serves")
    else:
        check(host.drained > 0, "the host's drain never ran main-queue work")

    # What the host read.
    check(session_id is not None and len(session_id) >= 32 and "-" not in session_id,
          "session ID %r is not a public session ID" % session_id)
    check(session_url == "%s/replay/sg-%s-%s" % (collector.base_url, PROPERTY.decode(), session_id),
          "session link %r does not name session %r" % (session_url, session_id))

    # What its delegate was told, and on which threads.
    with host.lock:
        live_configs, samplings, threads = list(host.live_configs), list(host.samplings), set(host.callback_threads)
    check(live_configs and live_configs[-1].get("useLiveConfiguration") is False
          and live_configs[-1].get("maxTimeFileSaved") == 1296000.0,
          "live configuration callback carried %r" % live_configs)
    check(samplings[:2] == [(False, False), (False, False)], "sampling callbacks carried %r" % samplings)
    check(host.main_thread not in threads, "a delegate callback ran on the host's main thread")
    check(host.callbacks_made_while_host_blocked == 0,
          "%d callbacks were made while the host's thread was blocked in the SDK" % host.callbacks_made_while_host_blocked)

    # What arrived at the collector.
    stored = collector.screens()
    check(list(stored) == [session_id], "sessions stored %r, expected only %r" % (list(stored), session_id))
    screens = stored.get(session_id, [])
    check([screen_name(screen) for screen in screens] == ["HomeScreen", "CartScreen"],
          "screens stored in order: %r" % [screen_name(screen) for screen in screens])
    if len(screens) == 2:
        home, cart = screens
        check(payloads_of(home, "goal", "conid", "conv") == [("bought", 9.5)],
              "HomeScreen goals: %r" % events_of(home, "goal"))
        check(payloads_of(home, "dimension", "name", "value") == [("plan", "gold")],
              "HomeScreen dimensions: %r" % events_of(home, "dimension"))
        check(payloads_of(home, "applicationError", "error") == [("card declined",)],
              "HomeScreen errors: %r" % events_of(home, "applicationError"))
        check(payloads_of(cart, "goal", "conid", "conv") == [("checkout", 2.0)],
              "CartScreen goals: %r" % events_of(cart, "goal"))
        for name, screen in (("HomeScreen", home), ("CartScreen", cart)):
            kinds = [event.get("t") for event in screen]
            check(kinds[:3] == ["session", "screen", "aM"] and kinds[-1] == "aE",
                  "%s arrived with the events %r" % (name, kinds))
    return failures


def main(argv):
    if len(argv) < 3 or (len(argv) > 3 and argv[3] not in ("sdk-thread", "host-drains")):
        print(__doc__)
        return 2
    mode = argv[3] if len(argv) > 3 else "sdk-thread"
    work = pathlib.Path(tempfile.mkdtemp(prefix="obx-ffi-host-"))
    # Read by the SDK when it first looks for its folders, after the library is loaded.
    os.environ["OBX_SANDBOX_ROOT"] = str(work / "sandbox")
    collector = Collector(argv[2], work / "received")
    try:
        lib = load(argv[1])
        host = Host(lib, mode)
        failures = journey(lib, host, collector)
        # No more callbacks into Python while it shuts down.
        lib.obx_set_delegate(None)
    finally:
        collector.stop()
        shutil.rmtree(work, ignore_errors=True)
    for failure in failures:
        print("FAILED: " + failure)
    print("c_api_host_test (%s): %s" % (mode, "every check passed" if not failures else "%d failures" % len(failures)))
    sys.stdout.flush()
    # The SDK's threads keep running until the process ends: leave without the interpreter's
    # shutdown, which they must not see.
    os._exit(1 if failures else 0)


if __name__ == "__main__":
    main(sys.argv)
