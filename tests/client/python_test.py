#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The Python binding against a booted device; run inside the sandbox, where the daemon is."""
import os
import pathlib
import subprocess
import threading
import time
import unittest

import vorn_client


class Bindings(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.daemon = subprocess.Popen(["/usr/sbin/vorn", "-f"], start_new_session=True,
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        while not pathlib.Path("/var/run/vorn.pid").exists():
            time.sleep(0.02)

    @classmethod
    def tearDownClass(cls):
        cls.daemon.kill()
        cls.daemon.wait()

    def test_requests_are_answered(self):
        with vorn_client.Client() as client:
            self.assertIn("<hostname>attic</hostname>", client.request(
                "<lsql><select><system properties=\"all\"/></select></lsql>"))

    def test_plugins_are_informed(self):
        with vorn_client.Client() as client:
            self.assertEqual(client.inform("interface", name="none"), "ERR returned by handler\n")
            self.assertEqual(client.inform("nobody"), "ERR no handler\n")

    def test_notices_come(self):
        with vorn_client.Client(timeout=None) as client, vorn_client.Client() as other:
            seen = []
            watcher = threading.Thread(target=lambda: seen.append(next(client.notices())))
            watcher.start()
            while not seen:
                other.request("<lsql origin=\"me\"><update><system><contact>x</contact></system>"
                              "</update></lsql>")
            watcher.join()
            self.assertIn("conf_changed origin=\"me\"", seen[0])

    def test_what_goes_wrong_is_raised(self):
        with vorn_client.Client() as client:
            with self.assertRaises(vorn_client.Error) as caught:
                client.request("no XML")
            self.assertEqual(caught.exception.status, vorn_client.NO_ANSWER)
            with self.assertRaises(vorn_client.Error) as caught:
                client.inform("a&b")
            self.assertEqual(caught.exception.status, vorn_client.BAD_ARGUMENT)
            self.assertEqual(str(caught.exception), "an object has a name without \"&\"")


if __name__ == "__main__":
    os.chdir("/")
    unittest.main()
