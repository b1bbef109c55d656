"""What an installation brings for desktops: the lines of its thumbnailer are run, and its file types are asked for."""
import configparser
import os
import shlex
import shutil
import struct
import subprocess
import sys
import zlib

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "tests", "command_line"))
import style_files  # noqa: E402

PARTS = os.path.join(ROOT, "examples", "parts")


def png_sides(path):
    with open(path, "rb") as f:
        data = f.read()
    if data[:8] != b"\x89PNG\r\n\x1a\n" or data[-8:-4] != b"IEND":
        sys.exit("%s is no whole PNG file" % path)
    at, packed = 8, b""
    while at < len(data):
        size, kind = struct.unpack_from(">I4s", data, at)
        if kind == b"IDAT":
            packed += data[at + 8:at + 8 + size]
        at += 12 + size
    if len(set(zlib.decompress(packed))) < 10:
        sys.exit("%s shows nothing" % path)
    return struct.unpack_from(">II", data, 16)


def thumbnails(prefix, scratch, env):
    entry = configparser.ConfigParser(interpolation=None)
    entry.optionxform = str
    if not entry.read(os.path.join(prefix, "share", "thumbnailers", "trqprep.thumbnailer")):
        sys.exit("no thumbnailer is installed")
    line = entry["Thumbnailer Entry"]
    env = dict(env, PATH=os.path.join(prefix, "bin") + os.pathsep + env["PATH"])
    if not shutil.which(line["TryExec"], path=env["PATH"]):
        sys.exit("the thumbnailer's program is not installed")
    mesh = os.path.join(scratch, "a part, with 'quotes'.stl")
    shutil.copy(os.path.join(PARTS, "rook.stl"), mesh)
    made = [mesh, os.path.join(scratch, "part.ctl"), os.path.join(scratch, "part.slc")]
    for command in (["convert", mesh, "-o", made[1]], ["slice", mesh, "--thickness", "1mm", "-o", made[2]]):
        subprocess.run([line["TryExec"], *command], check=True, env=env, stdout=subprocess.DEVNULL)
    for path in made:
        picture = os.path.join(scratch, "thumbnail.png")
        open(picture, "wb").close()  # file managers make the file beforehand
        names = {"%i": path, "%o": picture, "%u": "file://" + path, "%s": "256"}
        command = [names.get(word, word) for word in shlex.split(line["Exec"])]
        done = subprocess.run(command, env=env, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != 0 or png_sides(picture) != (256, 256):
            sys.exit("%s: %s" % (command, done.stdout))
    return made, line["MimeType"].rstrip(";").split(";")


def types(prefix, scratch, made, drawn):
    if not shutil.which("update-mime-database") or not shutil.which("gio"):
        print("update-mime-database and gio are not here: file types were not asked for")
        return
    subprocess.run(["update-mime-database", os.path.join(prefix, "share", "mime")], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    env = dict(os.environ, XDG_DATA_DIRS=os.path.join(prefix, "share") + ":/usr/share", XDG_DATA_HOME=scratch)
    expected = dict(zip(made, ("model/stl", "model/x-trq-ctl", "model/x-trq-slc")))
    if sorted(expected.values()) != sorted(drawn):
        sys.exit("the thumbnailer draws %s" % drawn)

    def put(name, data, kind):
        path = os.path.join(scratch, name)
        with open(path, "wb") as f:
            f.write(data)
        expected[path] = kind

    # By content alone, in either byte order; by name.
    with open(made[1], "rb") as f:
        ctl = f.read()
    style = "application/x-trq-style"
    put("mesh", ctl, "model/x-trq-ctl")
    header = bytearray(ctl[:256])
    header[72:76], header[160:164] = header[75:71:-1], header[163:159:-1]
    put("foreign", bytes(header) + ctl[256:], "model/x-trq-ctl")
    put("empty.slc", b"-SLCVER 2.0", "model/x-trq-slc")
    put("old.rcs", b"\0" * 64, style)
    put("Fine", style_files.build_style(), style)
    put("Older", style_files.build_style(layout="206"), style)
    put("recoat", style_files.recoat_style(), style)
    put("notes.sty", b"\\ProvidesPackage{notes}\n", "text/x-tex")
    for path, kind in expected.items():
        told = subprocess.run(["gio", "info", "-a", "standard::content-type", path], env=env, check=True,
                              capture_output=True, text=True).stdout
        if told.rsplit("content-type:", 1)[-1].strip() != kind:
            sys.exit("%s is to be %s: %s" % (path, kind, told))
    print("%d files are of their types" % len(expected))


def check(prefix, scratch, env):
    os.makedirs(scratch)
    made, drawn = thumbnails(prefix, scratch, env)
    types(prefix, scratch, made, drawn)
