# SPDX-License-Identifier: MIT
"""Talks to the vorn daemon of this machine, through libvorn-client.

    with vorn_client.Client(timeout=5) as client:
        print(client.request("<lsql><select><system/></select></lsql>"))
        print(client.inform("interface", name="eth0"))
        for notice in client.notices():
            print(notice)

What goes wrong is raised as Error, whose `status` is one of the library's.
"""
import ctypes

OK, NO_DAEMON, TIMED_OUT, LOST, NO_ANSWER, BAD_ARGUMENT, NO_MEMORY, SYSTEM = range(8)

_library = ctypes.CDLL("libvorn-client.so.0")
_free = ctypes.CDLL(None).free
_free.argtypes = [ctypes.c_void_p]
_library.vorn_client_new.restype = ctypes.c_void_p
_library.vorn_client_delete.argtypes = [ctypes.c_void_p]
_library.vorn_client_set_timeout.argtypes = [ctypes.c_void_p, ctypes.c_int]
_library.vorn_client_error.argtypes = [ctypes.c_void_p]
_library.vorn_client_error.restype = ctypes.c_char_p
_library.vorn_client_request.argtypes = [
    ctypes.c_void_p, ctypes.c_char_p, ctypes.c_size_t,
    ctypes.POINTER(ctypes.c_void_p), ctypes.POINTER(ctypes.c_size_t)]
_library.vorn_client_inform.argtypes = [
    ctypes.c_void_p, ctypes.c_char_p, ctypes.POINTER(ctypes.c_char_p), ctypes.c_size_t,
    ctypes.POINTER(ctypes.c_void_p)]
_library.vorn_client_subscribe.argtypes = [ctypes.c_void_p]
_library.vorn_client_next_notice.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p)]


class Error(Exception):
    """An exchange that did not come about."""

    def __init__(self, status, text):
        super().__init__(text)
        self.status = status


class Client:
    """One user of the daemon. A timeout of None waits for ever."""

    def __init__(self, timeout=30):
        self._client = _library.vorn_client_new()
        if not self._client:
            raise MemoryError
        self.set_timeout(timeout)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Ends the subscription and frees what the library holds."""
        _library.vorn_client_delete(self._client)
        self._client = None

    def set_timeout(self, seconds):
        """How long one call may take."""
        _library.vorn_client_set_timeout(self._client,
                                         -1 if seconds is None else int(seconds * 1000))

    def _take(self, status, text):
        if status != OK:
            raise Error(status, _library.vorn_client_error(self._client).decode())
        try:
            return ctypes.string_at(text).decode()
        finally:
            _free(text)

    def request(self, request):
        """The reply to one LSQL request."""
        reply = ctypes.c_void_p()
        encoded = request.encode()
        status = _library.vorn_client_request(self._client, encoded, len(encoded),
                                              ctypes.byref(reply), None)
        return self._take(status, reply)

    def inform(self, target, **parameters):
        """Tells the plugin that handles the target of an event; the line that it answers."""
        texts = [f"{name}={value}".encode() for name, value in parameters.items()]
        reply = ctypes.c_void_p()
        status = _library.vorn_client_inform(self._client, target.encode(),
                                             (ctypes.c_char_p * len(texts))(*texts), len(texts),
                                             ctypes.byref(reply))
        return self._take(status, reply)

    def notices(self):
        """Subscribes and yields change notices as they come, until the daemon ends."""
        status = _library.vorn_client_subscribe(self._client)
        if status != OK:
            raise Error(status, _library.vorn_client_error(self._client).decode())
        while True:
            notice = ctypes.c_void_p()
            status = _library.vorn_client_next_notice(self._client, ctypes.byref(notice))
            if status == LOST:
                return
            yield self._take(status, notice)
