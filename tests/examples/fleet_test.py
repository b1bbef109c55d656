"""examples/fleet: 200 small jobs, three of them bad and one killed, on the engine that is named: fleet_test.py ENGINE.

The first run builds all but these four, the second one the one that was killed and starts nothing else."""
import os
import pathlib
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

TOOL = os.environ["TRQPREP"]
SOURCE = pathlib.Path(os.environ["TRQ_SOURCE_DIR"])
FLEET = SOURCE / "examples" / "fleet"
JOBS = 200
BAD = {"job-041": (1, "OVERLAP"), "job-100": (3, "INPUT-MISSING"), "job-159": (5, "TOO-BIG-FOR-VAT")}
KILLED = "job-077"

if "TMPDIR" not in os.environ and os.path.isdir("/dev/shm") and shutil.disk_usage("/dev/shm").free > 1 << 30:
    os.environ["TMPDIR"] = tempfile.tempdir = "/dev/shm"

# What build-job starts in the place of the tool: it keeps a list of the jobs that were started, and one is killed.
COUNTED = """#!/bin/sh
echo "$2" >>"{folder}/started"
case $2 in
*{killed}*) [ -e "{folder}/was-killed" ] || {{ touch "{folder}/was-killed"; kill -KILL $$; }} ;;
esac
exec "{tool}" "$@"
"""


def box(size):
    """A binary STL file of a box."""
    corners = [[size[axis] * (k >> axis & 1) for axis in range(3)] for k in range(8)]
    quads = [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)]
    facets = [t for a, b, c, d in quads for t in ((a, b, c), (a, c, d))]
    return bytes(80) + struct.pack("<I", len(facets)) + b"".join(
        struct.pack("<12fH", 0, 0, 0, *(x for corner in facet for x in corners[corner]), 0) for facet in facets)


def job_text(number, parts):
    head = f'units = "mm"\nvat = "100x100x60mm"\nengine = "nest"\ngap = 2\nmargin = 5\ntime = 0\nno-report = true\nseed = {number}\n'
    return head + "".join(f'[[part]]\nfile = "../parts/{name}"\nunits = "mm"\n{more}' for name, more in parts)


class Fleet(unittest.TestCase):
    """What all engines have in common."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="trqprep-fleet-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        (self.folder / "jobs").mkdir()
        (self.folder / "parts").mkdir()
        for size in (5, 8, 12):
            (self.folder / f"parts/box-{size}.stl").write_bytes(box((size, size, 4)))
        (self.folder / "parts/tower.stl").write_bytes(box((5, 5, 90)))
        for number in range(JOBS):
            parts = [(f"box-{(5, 8, 12)[number % 3]}.stl", f"copies = {1 + number % 4}\n")]
            (self.folder / f"jobs/job-{number:03}.toml").write_text(job_text(number, parts))
        bad = {"job-041": [("box-5.stl", "at = [10, 10]\n"), ("box-8.stl", "at = [12, 12]\n")],
               "job-100": [("absent.stl", "")], "job-159": [("tower.stl", "")]}
        for name, parts in bad.items():
            (self.folder / f"jobs/{name}.toml").write_text(job_text(0, parts))
        counted = self.folder / "counted"
        counted.write_text(COUNTED.format(folder=self.folder, killed=KILLED, tool=TOOL))
        counted.chmod(0o755)
        self.environment = dict(os.environ, TRQPREP=str(counted))

    def find(self, program):
        path = shutil.which(program, path=os.environ["PATH"] + ":/usr/sbin:/sbin")
        self.assertIsNotNone(path, f"{program} is not installed: scripts/packages names its package")
        return path

    def call(self, *command, exits=(0,), **more):
        self.find(command[0])
        more.setdefault("env", self.environment)
        done = subprocess.run(list(map(str, command)), cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=900, **more)
        text = done.stdout.decode("utf-8", "replace")
        if exits is not None:
            self.assertIn(done.returncode, exits, text[-3000:])
        return text

    def started(self):
        """The jobs that were started since the last call."""
        path = self.folder / "started"
        names = [pathlib.Path(line).stem for line in path.read_text().splitlines()] if path.exists() else []
        path.unlink(missing_ok=True)
        return sorted(names)

    def built(self):
        return sorted(path.parent.name for path in (self.folder / "builds").glob("*/build.json"))

    def assert_they_verify(self, names):
        self.call(TOOL, "verify", *(f"builds/{name}" for name in names))

    def check(self, run):
        """`run` is the engine. What it prints may be shown to people."""
        names = [f"job-{number:03}" for number in range(JOBS)]
        good = [name for name in names if name not in BAD]
        begin = time.monotonic()
        said = [run()]
        first = time.monotonic() - begin
        self.assertEqual(self.started(), names)
        self.assertEqual(self.built(), [name for name in good if name != KILLED])
        self.assertEqual(len(self.built()), 196)
        self.assert_they_verify(self.built())
        self.assert_failures({**BAD, KILLED: (137, "-")})
        failures = self.call(FLEET / "failures")
        said.append(run())
        self.assertEqual(self.started(), [KILLED])
        self.assertEqual(self.built(), good)
        self.assertEqual(len(self.built()), 197)
        self.assert_they_verify(self.built())
        self.assert_failures(BAD)
        said.append(run())
        self.assertEqual(self.started(), [])
        summary = self.call(TOOL, "fleet", "summary", *(f"builds/{name}" for name in good))
        self.assertRegex(summary, r"  197 builds\n")
        # A job that was changed is built again, a bad one and a new one too.
        (self.folder / "parts/absent.stl").write_bytes(box((5, 5, 5)))
        changed = ["job-000", "job-099b", "job-100"]
        for name in changed:
            (self.folder / f"jobs/{name}.toml").write_text(job_text(1, [("absent.stl", "")]))
        run()
        self.assertEqual(self.started(), changed)
        self.assert_they_verify(changed)
        if os.environ.get("TRQ_FLEET_SHOW"):
            print(*said, failures, summary[summary.index("  197 builds") - 66:], f"first run: {first:.1f} s", sep="\n")

    def assert_failures(self, wanted):
        """The table of failures: exit, how many, what then, codes and jobs."""
        lines = self.call(FLEET / "failures").splitlines()
        then = {1: "change the job", 3: "change the job", 5: "change the job", 137: "again"}
        rows = sorted((exit, code, name) for name, (exit, code) in wanted.items())
        self.assertEqual([" ".join(line.split()) for line in lines[1:]],
                         [f"{exit} 1 {then[exit]} {code}: {name}" for exit, code, name in rows])


class Make(Fleet):
    def test_make(self):
        def run():
            return self.call("make", "-k", "-j", os.cpu_count(), "-f", FLEET / "Makefile", exits=(0, 2))
        self.check(run)

    def test_everything_stops_when_one_is_interrupted(self):
        # As Ctrl-C does: the tool ends with 130, whoever sent the signal.
        self.environment["TRQPREP"] = str(self.folder / "interrupted")
        (self.folder / "interrupted").write_text(f'#!/bin/sh\necho "$2" >>"{self.folder}/started"\nexit 130\n')
        (self.folder / "interrupted").chmod(0o755)
        self.call("make", "-k", "-f", FLEET / "Makefile", exits=(2,))
        self.assertEqual(self.started(), ["job-000"])
        self.call("make", "-k", "-f", FLEET / "Makefile", exits=(2,))
        self.assertEqual(self.started(), [])

    def test_what_is_to_be_done(self):
        """Every exit code, by the rule of its own."""
        (self.folder / "logs").mkdir()
        (self.folder / "builds/job-000").mkdir(parents=True)
        (self.folder / "builds/job-000/build.json").write_text("{}")
        jobs = {}
        for number, (exit, again) in enumerate(((0, False), (1, False), (2, False), (3, False), (5, False), (139, False),
                                                (4, True), (70, True), (137, True), (130, True), (143, True), (126, True))):
            jobs[f"jobs/job-{number:03}.toml"] = again
            (self.folder / f"logs/job-{number:03}.exit").write_text(f"{exit}\n")
        wanted = [job for job, again in jobs.items() if again]
        self.assertEqual(self.call(FLEET / "to-do", *jobs).split(), wanted)
        # What says it was done and is not there, and a job that was changed since.
        shutil.rmtree(self.folder / "builds/job-000")
        later = time.time() + 10
        os.utime(self.folder / "jobs/job-003.toml", (later, later))
        self.assertEqual(self.call(FLEET / "to-do", *jobs).split(), sorted(wanted + ["jobs/job-000.toml", "jobs/job-003.toml"]))


class Parallel(Fleet):
    def test_parallel(self):
        def run():
            return self.call(FLEET / "run-parallel", "-j", os.cpu_count(), exits=None)
        self.check(run)


    def test_hosts(self):
        """Two hosts as docs/fleet.md has them; what stands for ssh takes the command to a shell of its own."""
        for number in range(6, JOBS):
            (self.folder / f"jobs/job-{number:03}.toml").unlink()
        ssh = self.folder / "ssh"
        ssh.write_text(f'#!/bin/sh\nwhile [ "${{1#-}}" != "$1" ]; do shift; done\nshift\n'
                       '\n[ "$1" = -- ] && shift\ncd /\nexec env -i SHELL=/bin/sh PATH="$PATH" HOME="$HOME" sh -c "$*"\n')
        ssh.chmod(0o755)
        self.environment["PARALLEL_SSH"] = str(ssh)
        self.call(FLEET / "run-parallel", "-S", "1/alpha,2/beta,1/:", "--workdir", self.folder, "--env", "TRQPREP")
        self.assertEqual(len(self.started()), 6)
        self.assertEqual(self.built(), [f"job-{number:03}" for number in range(6)])
        self.assert_they_verify(self.built())
        hosts = {line.split("\t")[1] for line in (self.folder / "parallel.log").read_text().splitlines()[1:]}
        self.assertLessEqual({"alpha", "beta"}, hosts)


class Snakemake(Fleet):
    def test_snakemake(self):
        def run():
            return self.call("snakemake", "--snakefile", FLEET / "Snakefile", "--cores", os.cpu_count(), "--keep-going",
                             "--quiet", "progress", exits=(0, 1), env={**self.environment, "HOME": str(self.folder)})
        self.check(run)


class Slurm(Fleet):
    """A controller and a node on this machine, in a folder of their own."""

    def setUp(self):
        super().setUp()
        self.daemons = []
        self.addCleanup(self.stop)
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="trqprep-slurm-"))
        self.addCleanup(shutil.rmtree, self.home, ignore_errors=True)
        self.start()

    def start(self):
        home, host = self.home, os.uname().nodename
        for name in ("munge", "state", "spool"):
            (home / name).mkdir(mode=0o755)
        key = home / "munge/key"
        key.write_bytes(os.urandom(128))
        key.chmod(0o400)
        socket = home / "munge/socket"
        # Whoever runs this may write to the folders above.
        self.daemon("munged", "--foreground", "--force", f"--key-file={key}", f"--socket={socket}", f"--pid-file={home}/munge/pid",
                    f"--log-file={home}/munge/log", f"--seed-file={home}/munge/seed")
        self.wait_for(socket.exists, "munged")
        user = subprocess.run(["id", "-un"], stdout=subprocess.PIPE, text=True, check=True).stdout.strip()
        (home / "slurm.conf").write_text(f"""ClusterName=test
SlurmctldHost={host}(127.0.0.1)
SlurmUser={user}
SlurmdUser={user}
SlurmctldPort={self.free_port()}
SlurmdPort={self.free_port()}
AuthType=auth/munge
AuthInfo=socket={socket}
CredType=cred/munge
StateSaveLocation={home}/state
SlurmdSpoolDir={home}/spool
SlurmctldPidFile={home}/slurmctld.pid
SlurmdPidFile={home}/slurmd.pid
SlurmctldLogFile={home}/slurmctld.log
SlurmdLogFile={home}/slurmd.log
ProctrackType=proctrack/pgid
TaskPlugin=task/none
SwitchType=switch/none
MpiDefault=none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SchedulerType=sched/backfill
SchedulerParameters=sched_interval=1,batch_sched_delay=0,default_queue_depth=1000
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
MaxArraySize=1001
ReturnToService=2
KillWait=5
NodeName={host} NodeAddr=127.0.0.1 CPUs={os.cpu_count()} State=UNKNOWN
PartitionName=all Nodes={host} Default=YES MaxTime=INFINITE State=UP
""")
        # No control groups: a folder without any stands in their place.
        (home / "cgroup").mkdir()
        (home / "cgroup.conf").write_text(f"CgroupPlugin=cgroup/v1\nCgroupAutomount=no\nCgroupMountpoint={home}/cgroup\n")
        self.environment["SLURM_CONF"] = str(home / "slurm.conf")
        self.daemon("slurmctld", "-D", "-f", home / "slurm.conf")
        self.daemon("slurmd", "-D", "-f", home / "slurm.conf")
        self.wait_for(lambda: "idle" in self.call("sinfo", "-h", "-o", "%T", exits=None), "slurmd")

    @staticmethod
    def free_port():
        import socket
        with socket.socket() as found:
            found.bind(("127.0.0.1", 0))
            return found.getsockname()[1]

    def daemon(self, *command):
        log = open(self.home / f"{command[0]}.out", "wb")
        self.addCleanup(log.close)
        self.daemons.append(subprocess.Popen([self.find(command[0]), *map(str, command[1:])], stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                             env=self.environment))

    def wait_for(self, ready, what):
        for _ in range(600):
            if ready():
                return
            time.sleep(0.1)
        self.fail(what + " does not answer:\n" + "".join(p.read_text(errors="replace")[-3000:]
                                                         for p in self.home.glob("*.*") if p.suffix in (".log", ".out")))

    def stop(self):
        for daemon in reversed(self.daemons):
            daemon.send_signal(signal.SIGTERM)
            try:
                daemon.wait(20)
            except subprocess.TimeoutExpired:
                daemon.kill()
                daemon.wait()

    def test_job_array(self):
        def run():
            return self.call(FLEET / "run-slurm", exits=None)
        self.check(run)


if __name__ == "__main__":
    unittest.main()
