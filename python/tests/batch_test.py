"""sorvane.batch with real schedulers and workers as processes: batch_test.py PROGRAM MODELS.

PROGRAM is the built `sorvane`, MODELS the folder of its models. Exit code 77 tells that a package is
missing.
"""

import contextlib
import functools
import getpass
import hashlib
import http.server
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import wave

try:
    import aiohttp  # noqa: F401
    import distributed  # noqa: F401
    import fsspec  # noqa: F401
    import numpy as np
    import paramiko  # noqa: F401
    import requests  # noqa: F401
except ImportError:
    sys.exit(77)

PROGRAM, MODELS = map(os.path.abspath, sys.argv[1:3])
DEADLY = f"""#!/bin/sh
case "$*" in
*deadly*) kill -9 $PPID; exit ;;
*crash*) kill -9 $$ ;;
*slow*) sleep 30 ;;
esac
exec '{PROGRAM}' "$@"
"""


def write_sound(path, seed, seconds=0.4):
    path.parent.mkdir(parents=True, exist_ok=True)
    noise = np.random.default_rng(seed).normal(0, 2000, int(16000 * seconds))
    with wave.open(str(path), "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(16000)
        file.writeframes(noise.astype("<i2").tobytes())


def digests(folder):
    """The content of every file of a folder but the run's own."""
    return {str(p.relative_to(folder)): hashlib.sha256(p.read_bytes()).hexdigest()
            for p in pathlib.Path(folder).rglob("*")
            if p.is_file() and ".sorvane-batch" not in p.parts}


def children(pid):
    """Python workers below a process."""
    found = []
    for entry in pathlib.Path("/proc").iterdir():
        with contextlib.suppress(OSError, ValueError):
            parent = int((entry / "stat").read_text().rpartition(")")[2].split()[1])
            if parent == pid and b"spawn_main" in (entry / "cmdline").read_bytes():
                found.append(int(entry.name))
    return found


def wait_for(condition, seconds=600):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise AssertionError("it took too long")
        time.sleep(0.02)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class BatchTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.inputs = self.folder / "in"
        self.output = self.folder / "out"
        self.environment = {**os.environ, "SORVANE_PROGRAM": PROGRAM, "SORVANE_MODEL_PATH": MODELS,
                            "HOME": str(self.folder)}

    def sounds(self, count, seconds=0.4, name="s{}.wav"):
        for i in range(count):
            write_sound(self.inputs / f"d{i % 3}" / name.format(i), i, seconds)

    def start(self, *words, inputs=None, output=None, workers=2):
        own = () if "--scheduler" in words or "--scheduler-file" in words else (
            "--workers", str(workers))
        process = subprocess.Popen(
            [sys.executable, "-m", "sorvane.batch", *map(str, inputs or [self.inputs]),
             str(output or self.output), *own, *words],
            env=self.environment, stderr=subprocess.PIPE, text=True, start_new_session=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def run_batch(self, *words, code=0, **options):
        """Runs to the end; gives what it said."""
        process = self.start(*words, **options)
        said = process.communicate(timeout=900)[1]
        self.assertEqual(process.returncode, code, said)
        return said

    def background(self, *words):
        process = subprocess.Popen([sys.executable, "-m", *map(str, words)], env=self.environment,
                                   stderr=subprocess.DEVNULL, start_new_session=True)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def journal(self):
        path = self.output / ".sorvane-batch/journal.jsonl"
        if not path.exists():
            return []
        return [json.loads(line) for line in path.read_text().splitlines() if line.endswith("}")]

    def done(self):
        return [line["input"] for line in self.journal() if not line.get("error")]

    def expected(self):
        """What `sorvane denoise` makes of the inputs."""
        folder = self.folder / "expected"
        subprocess.run([PROGRAM, "denoise", str(self.inputs), "--recursive", "--out-dir",
                        str(folder), "--force", "--quiet"], env=self.environment,
                       stderr=subprocess.DEVNULL)
        return digests(folder)

    def check_whole(self):
        self.assertEqual(digests(self.output), self.expected())
        self.assertEqual(list((self.output / ".sorvane-batch").glob("partial/*")), [])

    def test_an_archive(self):
        self.sounds(197)
        (self.inputs / "notes.txt").write_text("no audio")
        for name in ("a", "b", "c"):
            (self.inputs / f"d1/{name}.wav").write_bytes(b"RIFF" + name.encode())
        said = self.run_batch("--report", str(self.folder / "report"), code=1)
        self.assertIn("197 files of 0.02 h done", said)
        self.assertIn("3 failed", said)
        self.check_whole()
        self.assertEqual(len(self.journal()), 200)
        line = next(line for line in self.journal() if line["input"].endswith("d0/s0.wav"))
        self.assertEqual((line["seconds"], line["version"]), (0.4, "0.1.0"))
        self.assertIn("speech", line["model"])
        self.assertIn("d1/a.wav", (self.folder / "report/index.html").read_text())
        self.assertEqual(len((self.folder / "report/files.csv").read_text().splitlines()), 201)
        # Again: only what failed, has changed or is missing.
        write_sound(self.inputs / "d0/s0.wav", 1000)
        (self.output / "d1/s1.wav").unlink()
        said = self.run_batch(code=1)
        self.assertIn("2 files of 0.00 h done", said)
        self.assertIn("195 were done before", said)
        self.check_whole()

    def test_workers_that_die(self):
        self.sounds(30, 3.0)
        process = self.start()
        wait_for(lambda: len(self.done()) > 3)
        os.kill(children(process.pid)[0], signal.SIGKILL)
        self.assertEqual(process.wait(900), 0)
        self.assertEqual(len(self.done()), 30)
        self.check_whole()

    def test_files_that_kill(self):
        program = self.folder / "deadly.sh"
        program.write_text(DEADLY)
        program.chmod(0o755)
        self.sounds(9)
        write_sound(self.inputs / "deadly.wav", 1)
        write_sound(self.inputs / "crash.wav", 1)
        said = self.run_batch("--program", str(program), code=1)
        self.assertIn("deadly.wav: its worker died each time; it is set aside", said)
        self.assertIn("crash.wav: the program was ended 2 times by signal 9", said)
        self.assertEqual(len(self.done()), 9)
        self.assertIn("11 were done before", self.run_batch("--program", str(program)))

    def test_the_client_is_killed_interrupted_and_started_again(self):
        self.sounds(40, 2.0)
        process = self.start()
        wait_for(lambda: len(self.done()) > 3)
        self.assertIn("another run", self.run_batch(code=2))  # meanwhile
        os.kill(process.pid, signal.SIGKILL)
        process.wait()
        before = len(self.done())
        process = self.start()
        wait_for(lambda: len(self.done()) > before)
        os.killpg(process.pid, signal.SIGINT)  # as a terminal does
        said = process.communicate(timeout=900)[1]
        self.assertEqual(process.returncode, 5, said)
        self.assertIn("interrupted; the same command goes on", said)
        self.assertLess(len(self.done()), 40)
        self.run_batch()
        self.assertEqual(len(self.done()), len(set(self.done())), "done twice")
        self.assertEqual(len(self.done()), 40)
        self.check_whole()

    def test_a_scheduler_that_goes_away(self):
        self.sounds(40, 2.0)
        for attempt in range(2):
            file = self.folder / f"scheduler{attempt}.json"
            scheduler = self.background("distributed.cli.dask_scheduler", "--port", 0,
                                        "--no-dashboard", "--scheduler-file", file)
            self.background("distributed.cli.dask_worker", "--scheduler-file", file, "--nthreads",
                            1, "--nworkers", 2, "--no-dashboard")
            process = self.start("--scheduler-file", str(file))
            if attempt == 0:
                wait_for(lambda: len(self.done()) > 3)
                scheduler.kill()
            said = process.communicate(timeout=900)[1]
            self.assertEqual(process.returncode, 0 if attempt else 5, said)
        self.check_whole()

    @unittest.skipUnless(os.geteuid() == 0, "only root can make a small disk")
    def test_a_full_disk(self):
        self.output.mkdir()
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "tmpfs", self.output],
                                 capture_output=True)
        if mounted.returncode != 0:
            self.skipTest("no small disk can be made here")
        self.addCleanup(subprocess.run, ["umount", "-l", self.output], check=True)
        self.sounds(30)
        said = self.run_batch(code=5)
        self.assertRegex(said, "disk is full|No space left")
        made = digests(self.output)
        self.assertGreater(len(made), 3)
        self.assertEqual(made, {k: v for k, v in self.expected().items() if k in made})
        subprocess.run(["mount", "-o", "remount,size=16m", self.output], check=True)
        self.run_batch()
        self.check_whole()

    def test_other_machines(self):
        """A folder by HTTP to one by SFTP, and a manifest."""
        self.sounds(5)
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(
            SilentHandler, directory=self.inputs))
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        sftp = self.start_sftp()
        (self.folder / "two.csv").write_text(
            f"input,output\n{sftp}{self.inputs}/d0/s0.wav,first/one.wav\nin/d1/s1.wav,\n")
        remote = self.folder / "remote"
        self.run_batch("--journal", str(self.folder / "j.jsonl"), output=f"{sftp}{remote}",
                       inputs=[f"http://127.0.0.1:{server.server_port}/"])
        expected = self.expected()
        self.assertEqual(digests(remote), expected)
        self.run_batch(inputs=[self.folder / "two.csv"])
        self.assertEqual(digests(self.output), {"first/one.wav": expected["d0/s0.wav"],
                                                "in/d1/s1.wav": expected["d1/s1.wav"]})

    def start_sftp(self):
        keys = self.folder / ".ssh"
        keys.mkdir()
        for name in ("id_ed25519", "host"):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", keys / name],
                           check=True)
        if os.geteuid() == 0:
            os.makedirs("/run/sshd", exist_ok=True)
        port = free_port()
        options = {"ListenAddress": "127.0.0.1", "Port": port, "HostKey": keys / "host",
                   "AuthorizedKeysFile": keys / "id_ed25519.pub", "StrictModes": "no",
                   "PidFile": "none", "UsePAM": "no", "Subsystem": "sftp internal-sftp",
                   "PermitRootLogin": "prohibit-password", "MaxStartups": 50}
        words = [word for k, v in options.items() for word in ("-o", f"{k}={v}")]
        sshd = subprocess.Popen([shutil.which("sshd", path="/usr/sbin:/usr/bin"), "-D", "-e", "-f",
                                 "/dev/null", *words], stderr=subprocess.DEVNULL)
        self.addCleanup(sshd.wait)
        self.addCleanup(sshd.kill)

        def answers():
            with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port)):
                return True
            return False

        wait_for(answers)
        return f"sftp://{getpass.getuser()}@127.0.0.1:{port}"


class SilentHandler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *ignored):
        pass


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
