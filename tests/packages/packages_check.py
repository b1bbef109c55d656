"""packages_check.py PACKAGES: what scripts/package --test looks at.

1. lintian finds no error, and every override says why. The ZIP file for Windows, if there is one, is whole.
2. The source archive, unpacked elsewhere and built without git and without a compiler's cache, gives the same bytes.
3. In a fresh Debian 12: the packages install; README's commands run on the installed examples; programs are built with CMake and
   pkg-config and run; a line of Python, when there is the module; after purging nothing is left.

TRQ_PACKAGE_CHECKS has some of the words lint, again and use for some of them; with cached the second build may use a cache.
"""
import filecmp
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import zipfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "tests" / "examples"))
import stl_report  # noqa: E402  (measures without the library)

MIRROR_LIST = "/etc/apt/sources.list.d/debian.sources"


def say(text):
    print("== " + text, flush=True)


def run(*command, **more):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **more)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\n{done.stdout[-4000:]}\nended with {done.returncode}")
    return done.stdout


def lint(packages):
    for override in (ROOT / "packaging" / "debian").glob("*.lintian-overrides"):
        lines = override.read_text().splitlines()
        for before, line in zip([""] + lines, lines):
            if line and not line.startswith("#") and not before.startswith("#"):
                sys.exit(f"{override.name}: no reason is given for {line}")
    done = subprocess.run(["lintian", "--allow-root", "--fail-on", "error", "--show-overrides", *map(str, packages)],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    print(done.stdout, end="")
    if done.returncode != 0:
        sys.exit("lintian found errors")


def build_again(folder, archive, scratch, cached):
    """Builds the archive's packages in another folder and compares the bytes."""
    run("tar", "-xzf", archive, "-C", scratch)
    (source,) = scratch.iterdir()
    hidden = scratch / "commands"
    hidden.mkdir()
    for name in ("git",) if cached else ("git", "ccache"):
        (hidden / name).write_text(f"#!/bin/sh\necho {name} is not to be used >&2\nexit 99\n")
        (hidden / name).chmod(0o755)
    environment = dict(os.environ, PATH=f"{hidden}:{os.environ['PATH']}")
    if not cached:
        environment["CCACHE_DISABLE"] = "1"
    environment.pop("TRQPREP", None)
    run(str(source / "scripts" / "package"), env=environment)
    again = source / "build" / "package" / "packages"
    names = sorted(path.name for path in folder.iterdir() if not path.name.endswith(".zip"))
    if sorted(path.name for path in again.iterdir()) != names:
        sys.exit(f"{sorted(os.listdir(again))} was made, and {names} before")
    different = [name for name in names if not filecmp.cmp(folder / name, again / name, shallow=False)]
    if different:
        sys.exit(f"{', '.join(different)}: other bytes when built in {source}")
    print(f"{len(names)} files: the same bytes")


def look_into(archive):
    """The ZIP file for Windows holds what an application and a user need."""
    with zipfile.ZipFile(archive) as opened:
        names = [name.partition("/")[2] for name in opened.namelist()]
    for wanted in (r"bin/TRQSharedDll\.dll", r"lib/.*TRQSharedDll\.dll\.a", r"bin/trqprep\.exe", r"include/trq/geometry\.h",
                   r"include/trq/export\.h", r"lib/cmake/TRQSharedDll/TRQSharedDllConfig\.cmake"):
        if not any(re.fullmatch(wanted, name) for name in names):
            sys.exit(f"{archive.name} holds no {wanted}")
    print(f"{archive.name}: {len(names)} entries")


class Machine:
    """A Debian of its own in a folder, in which commands are run as root."""

    def __init__(self, root):
        self.root = root

    def run(self, command, code=0):
        """Runs a line of bash. Mounts end with it."""
        inside = ('mount --bind /dev "$0/dev" && mount -t proc proc "$0/proc" && '
                  'exec chroot "$0" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 '
                  'DEBIAN_FRONTEND=noninteractive bash -c "cd /root/work && $1"')
        script = self.root / "root" / "command.sh"
        script.write_text("cd /root/work\n" + command + "\n")
        done = subprocess.run(["unshare", "--mount", "--fork", "sh", "-c", inside, self.root, ". /root/command.sh"],
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != code:
            sys.exit(f"{command}\n{done.stdout[-4000:]}\nended with {done.returncode}")
        return done.stdout

    def files(self):
        """Everything that lies about, but for what apt and dpkg keep for themselves."""
        skipped = ("/proc", "/sys", "/dev", "/root", "/tmp", "/run", "/var/cache", "/var/lib/apt", "/var/lib/dpkg", "/var/log")
        found = set()
        for folder, folders, names in os.walk(self.root):
            inside = "/" + os.path.relpath(folder, self.root)
            inside = "/" if inside == "/." else inside
            folders[:] = [name for name in folders if os.path.join(inside, name) not in skipped]
            found.update(os.path.join(inside, name) for name in folders + names)
        return found


def fresh_root(scratch):
    root = scratch / "debian"
    made = os.environ.get("TRQ_DEBIAN_ROOT")
    if made:
        root.mkdir()
        run("tar", "-xf", made, "-C", root)
    else:
        sources = [MIRROR_LIST] if os.path.exists(MIRROR_LIST) else []
        run("mmdebstrap", "--quiet", "--variant=minbase", "bookworm", root, *sources)
    (root / "root" / "work").mkdir(parents=True)
    return Machine(root)


def readme_commands():
    """The commands of README's blocks that call the tool."""
    text = (ROOT / "README.md").read_text()
    for block in re.findall(r"^```sh\n(.*?)^```", text, re.S | re.M):
        for line in block.replace("\\\n", " ").splitlines():
            if line.startswith("trqprep "):
                yield line


def use(machine, packages):
    """Installs the packages and does with them what README says."""
    work = machine.root / "root" / "work"
    for name in ("tests/install/consumer", "tests/packages/prep_consumer"):
        shutil.copytree(ROOT / name, work / pathlib.Path(name).name)
    shutil.copy(ROOT / "examples" / "print_volume.cpp", work / "consumer")
    for package in packages:
        shutil.copy(package, machine.root / "root")
    # What users have on their machines and the packages do not ask for; shared-mime-info reads the types of files.
    machine.run("apt-get update && apt-get install -y --no-install-recommends g++ cmake make pkg-config shared-mime-info "
                "bash-completion man-db zsh fish")
    before = machine.files()
    machine.run("apt-get install -y --no-install-recommends /root/*.deb")

    machine.run("ln -s /usr/share/trqprep/examples examples")
    count = 0
    for line in readme_commands():
        machine.run(line, 1 if line.endswith("# exit 1") else 0)
        count += 1
    print(f"{count} commands of README")
    if not count:
        sys.exit("README shows no command")

    known = stl_report.report(str(ROOT / "examples" / "parts" / "bracket.stl"))
    build = {"CMake": "cmake -S consumer -B with-cmake -DCMAKE_BUILD_TYPE=Release && cmake --build with-cmake -j2 && "
                      "with-cmake/print_volume examples/parts/bracket.stl",
             "pkg-config": "g++ -std=c++17 consumer/print_volume.cpp $(pkg-config --cflags --libs trqshareddll) -o volume && "
                           "./volume examples/parts/bracket.stl"}
    for name, line in build.items():
        facets, volume = machine.run(line).split()[-2:]
        if int(facets) != known.facets or abs(float(volume) / known.volume - 1) > 1e-5:
            sys.exit(f"built with {name}: {facets} facets, volume {volume}")
        print(f"built with {name}: {facets} facets, volume {volume}")
    told = machine.run("cmake -S prep_consumer -B prep && cmake --build prep -j2 && prep/outside_build out/build.toml whole && "
                       "cmp whole/plate.stl out/plate.stl && trqprep verify whole")
    print("built with TRQ::Prep: " + told.splitlines()[-2])

    machine.run("grep -q trqprep /usr/share/mime/globs2 || grep -q x-trq-slc /usr/share/mime/globs2")
    machine.run(". /usr/share/bash-completion/bash_completion; _completion_loader trqprep; complete -p trqprep")
    machine.run("zsh -fc 'autoload -U compinit; compinit -u -D; [[ ${_comps[trqprep]} = _trqprep ]]'")
    machine.run("fish -c 'complete -C \"trqprep ver\"' | grep -q verify")
    machine.run("test $(man -P cat trqprep | wc -l) -gt 100")
    machine.run("test -e /usr/share/doc/trqprep-doc/html/index.html")
    if any(package.name.startswith("python3-trqprep") for package in packages):
        told = machine.run("""python3 -c 'import trqprep; print(len(trqprep.Mesh.load("examples/parts/bracket.stl").triangles))'""")
        if told.strip() != str(known.facets):
            sys.exit("Python counts " + told)
        print("Python: " + told.strip() + " facets")
    return before


def purge(machine, packages, before):
    names = [package.name.split("_")[0] for package in packages]
    owned = {line for name in names for line in machine.run("dpkg -L " + name).splitlines()}
    machine.run(f"apt-get purge -y --autoremove {' '.join(names)}")
    after = machine.files()
    left = sorted(path for path in after if (path in owned or "trq" in path.lower()) and path not in before)
    if left:
        sys.exit(f"left after purging: {', '.join(left[:20])}")
    told = machine.run("grep -rilE 'trqprep|trqshared|x-trq' /usr/share/mime /etc /var/lib/dpkg/info /var/lib/dpkg/triggers || true").split()
    if told:
        sys.exit(f"named after purging in {', '.join(told)}")
    print(f"purged {', '.join(names)}: nothing is left")


def main():
    folder = pathlib.Path(sys.argv[1]).resolve()
    packages = sorted(folder.glob("*.deb"))
    (archive,) = folder.glob("*.tar.gz")
    only = os.environ.get("TRQ_PACKAGE_CHECKS", "lint again use").split()
    if "lint" in only:
        say("lintian")
        lint(packages)
        for path in folder.glob("*.zip"):
            look_into(path)
    if "again" in only:
        say("built again, elsewhere")
        with tempfile.TemporaryDirectory(prefix="trqprep-again-") as scratch:
            build_again(folder, archive, pathlib.Path(scratch), "cached" in only)
    if "use" in only:
        if os.geteuid() != 0:
            sys.exit("a Debian of its own needs root")
        say("a fresh Debian 12")
        with tempfile.TemporaryDirectory(prefix="trqprep-debian-") as scratch:
            machine = fresh_root(pathlib.Path(scratch))
            before = use(machine, packages)
            purge(machine, packages, before)
    say("packages: good")


if __name__ == "__main__":
    main()
