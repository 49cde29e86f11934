"""The zip file for Windows, unpacked as a user does, where nothing else has ever been."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest
import zipfile

import Programs

BUILD = pathlib.Path(os.environ["TBR_WINDOWS_BUILD"])
FOLDER = "Navigation für den OP"  # blanks and letters beyond ASCII


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = pathlib.Path(tempfile.mkdtemp(prefix="tbr-package-"))
        cls.addClassCleanup(cls.clean)
        subprocess.run(["cpack", "-G", "ZIP", "-B", str(cls.work)], cwd=BUILD, check=True, stdout=subprocess.PIPE)
        (cls.zip,) = cls.work.glob("tbrNavigation-*-windows-x86_64.zip")

        cls.variables = {"TBR_WINEPREFIX": str(cls.work / "wine"), "TBR_WINE_ALONE": "1"}
        subprocess.run([Programs.WINE, "wineboot", "--init"], env={**os.environ, **cls.variables}, check=True,
                       stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        drive = cls.work / "wine" / "drive_c" / FOLDER
        with zipfile.ZipFile(cls.zip) as archive:
            archive.extractall(drive)
        (cls.root,) = drive.iterdir()
        cls.installed = Programs.windows_in(cls.root, cls.variables)

    @classmethod
    def clean(cls):
        subprocess.run(["/usr/lib/wine/wineserver", "--kill"], check=False,
                       env={**os.environ, "WINEPREFIX": str(cls.work / "wine")})
        shutil.rmtree(cls.work)

    def test_the_programs_run_without_anything_else_and_know_their_version(self):
        self.assertRegex(self.installed.run("toolserver", "--version"), r"^toolserver \d+\.\d+\.\d+\n$")
        self.assertRegex(self.installed.run("toolclient", "--version"), r"^toolclient \d+\.\d+\.\d+\n$")

    def test_the_server_finds_its_camera_and_the_client_its_module(self):
        self.assertEqual(self.installed.run("toolserver", "--list-modules"), "SimulatedCamera\n")
        with Programs.Server(self.installed) as server:
            self.assertIn("Pointer", Programs.tool_names(self.installed, server.port))

    def test_a_recording_gives_the_same_bytes_as_on_the_system_that_made_it(self):
        host = Programs.host()
        file = self.root / "Aufnahme eins.tslog"
        names = Programs.record(host, file)
        expected = Programs.replayed(host, file, names)
        self.assertGreater(len(expected[2]), 2 * len(names), "the recording shows nothing that moves")
        self.assertEqual(Programs.replayed(self.installed, file, names), expected)

    def test_it_has_what_a_program_of_ones_own_needs(self):
        for file in ("lib/cmake/tbrNavigation/tbrNavigationConfig.cmake", "include/tbrNavigation/TSBase/Toollist.h",
                     "share/tbrNavigation/README.md", "share/tbrNavigation/docs/windows.md", "bin/tbrNavigation.dll",
                     "bin/Qt5Core.dll"):
            self.assertTrue((self.root / file).is_file(), file)


if __name__ == "__main__":
    unittest.main()
