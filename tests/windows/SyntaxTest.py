"""A second compiler reads every source with the Windows headers: nothing may be an extension of the first one's."""
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import unittest

BUILD = pathlib.Path(os.environ["TBR_WINDOWS_BUILD"])
TAKEN_OPTIONS = ("-D", "-I", "-std")
STRICT = ["-fms-extensions", "-fdelayed-template-parsing", "-Wall", "-Wextra", "-Wpedantic", "-Wgnu", "-Wmicrosoft",
          "-Werror"]


def output_of(*command):
    return subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT).stdout.decode()


def system_headers(compiler):
    """The cross compiler's folders of headers, with clang's own in the place of its built-in ones."""
    listed = re.search(r"#include <\.\.\.> .*?:\n(.*?)End of search list", output_of(compiler, "-E", "-x", "c++", "-v", "-"),
                       re.DOTALL).group(1).split()
    own = os.path.join(output_of("clang++", "-print-resource-dir").strip(), "include")
    cxx = [folder for folder in listed if "/c++" in folder]
    system = [folder for folder in listed if "/lib/gcc/" not in os.path.normpath(folder)]
    return [word for folder in [*cxx, own, *system] for word in ("-isystem", folder)]


def taken(arguments):
    """Of a compiler's arguments, those that say what is compiled."""
    words = iter(arguments)
    for word in words:
        if word == "-isystem":
            yield from (word, next(words))
        elif word.startswith(TAKEN_OPTIONS):
            yield word


class Syntax(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with open(BUILD / "compile_commands.json", encoding="utf-8") as commands:
            cls.units = [unit for unit in json.load(commands) if not unit["file"].startswith(str(BUILD))]
        cls.headers = system_headers(next(word for word in shlex.split(cls.units[0]["command"]) if "mingw32" in word))

    def complaints(self, unit):
        arguments = shlex.split(unit["command"])
        done = subprocess.run(["clang++", "--target=x86_64-w64-mingw32", "-fsyntax-only", "-nostdinc", "-nostdinc++",
                               *taken(arguments), *self.headers, *STRICT, unit["file"]], check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return done.stdout.decode() or ("" if done.returncode == 0 else f"{unit['file']}: status {done.returncode}")

    def test_no_source_needs_the_compiler_that_builds_it(self):
        self.assertGreater(len(self.units), 100)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            complaints = [text for text in pool.map(self.complaints, self.units) if text]
        self.assertEqual(complaints, [], "\n".join(complaints))


if __name__ == "__main__":
    unittest.main()
