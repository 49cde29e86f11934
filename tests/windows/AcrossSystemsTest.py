"""Programs of both systems talk to each other over loopback, in both directions."""
import pathlib
import tempfile
import unittest

import Programs


class AcrossSystems(unittest.TestCase):
    def listed(self, server_system, client_system):
        with Programs.Server(server_system) as server:
            return client_system.run("toolclient", "--host", "127.0.0.1", "--port", server.port, "--csv", "list")

    def test_every_client_lists_the_same_tools_of_every_server(self):
        host, windows = Programs.host(), Programs.windows()
        expected = self.listed(host, host)
        self.assertIn("Pointer", expected)
        for server, client in ((host, windows), (windows, host), (windows, windows)):
            with self.subTest(server=server.name, client=client.name):
                self.assertEqual(self.listed(server, client), expected)

    def test_every_client_follows_a_tool_of_every_server(self):
        systems = Programs.host(), Programs.windows()
        for server_system in systems:
            for client in systems:
                with self.subTest(server=server_system.name, client=client.name), \
                        Programs.Server(server_system) as server:
                    lines = client.run("toolclient", "--host", "127.0.0.1", "--port", server.port, "--csv", "watch",
                                       "--count", 3).splitlines()
                    self.assertGreaterEqual(sum(",1," in line and "Pointer" in line for line in lines), 1, lines)

    def test_a_recording_of_either_system_gives_the_same_bytes_on_both(self):
        host, windows = Programs.host(), Programs.windows()
        for recorder in (host, windows):
            with self.subTest(recorder=recorder.name), tempfile.TemporaryDirectory() as folder:
                file = pathlib.Path(folder) / "session.tslog"
                names = Programs.record(recorder, file)
                expected = Programs.replayed(host, file, names)
                self.assertGreater(len(expected[2]), 2 * len(names), "the recording shows nothing that moves")
                self.assertEqual(Programs.replayed(windows, file, names), expected)


if __name__ == "__main__":
    unittest.main()
