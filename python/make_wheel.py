"""Packs the built Python package into a wheel, offline: the pure-Python modules and type stubs, the
extension, and the shared library beside it, which the extension finds through $ORIGIN.

    make_wheel.py --package DIR --sources DIR --extension FILE --library FILE --soname NAME
                  --version X.Y.Z --output DIR [--strip PROGRAM]

Run by the `wheel` target (python/CMakeLists.txt) with the interpreter the extension was built for;
the wheel's tag is that interpreter's. The modules come from the built package (--package), stubs
and modules it lacks from the sources (--sources). The dist-info the build writes next to the
package (METADATA, entry_points.txt) is taken as it is; without one, the fixed text below serves.
"""

import argparse
import base64
import hashlib
import os
import shutil
import subprocess
import sys
import sysconfig
import tempfile
import time
import zipfile

ENTRY_POINTS = "[xarray.backends]\nanadata = anadata.xarray_backend:AnadataBackendEntrypoint\n"
# Files are dated to SOURCE_DATE_EPOCH when it is set, so equal builds give equal wheels.
EPOCH = max(int(os.environ.get("SOURCE_DATE_EPOCH", "315532800")), 315532800)


def metadata(version):
    return (
        "Metadata-Version: 2.1\n"
        "Name: anadata\n"
        f"Version: {version}\n"
        "Summary: Analysed data of a shot-numbered experiment: records with numpy views, files and the service\n"
        "License: MIT\n"
        f"Requires-Python: =={sys.version_info.major}.{sys.version_info.minor}.*\n"
        "Requires-Dist: numpy\n"
        "Provides-Extra: xarray\n"
        'Requires-Dist: xarray ; extra == "xarray"\n'
        "Provides-Extra: plot\n"
        'Requires-Dist: matplotlib ; extra == "plot"\n'
    )


def wheel_tag():
    python = f"cp{sys.version_info.major}{sys.version_info.minor}"
    platform = sysconfig.get_platform().replace("-", "_").replace(".", "_")
    return f"{python}-{python}-{platform}"


def record_line(name, data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(data)}\n"


def prepared_binary(path, workdir, strip, rpath):
    """A stripped copy of a shared object, its run path set to rpath when given."""
    copy = os.path.join(workdir, os.path.basename(path))
    shutil.copyfile(path, copy)
    if strip:
        subprocess.run([strip, "--strip-unneeded", copy], check=True)
    if rpath is not None:
        script = os.path.join(workdir, "rpath.cmake")
        with open(script, "w", encoding="utf-8") as f:
            f.write(f'file(RPATH_SET FILE "{copy}" NEW_RPATH "{rpath}")\n')
        subprocess.run(["cmake", "-P", script], check=True, stdout=subprocess.DEVNULL)
    with open(copy, "rb") as f:
        return f.read()


def package_files(args):
    """(name in the wheel, bytes, executable) of everything under anadata/."""
    files = {}
    for directory in (args.sources, args.package):  # the built package wins over the sources
        for name in sorted(os.listdir(directory)):
            if name.endswith((".py", ".pyi")) or name == "py.typed":
                with open(os.path.join(directory, name), "rb") as f:
                    files[name] = (f.read(), False)
    with tempfile.TemporaryDirectory() as workdir:
        extension = os.path.basename(args.extension)
        files[extension] = (prepared_binary(args.extension, workdir, args.strip, "$ORIGIN"), True)
        files[args.soname] = (prepared_binary(args.library, workdir, args.strip, None), True)
    return [(f"anadata/{name}", data, executable) for name, (data, executable) in sorted(files.items())]


def dist_info_files(args, tag):
    """The dist-info of the build when there is one, else the fixed METADATA and entry points."""
    built = os.path.join(os.path.dirname(args.package), f"anadata-{args.version}.dist-info")
    texts = {"METADATA": metadata(args.version), "entry_points.txt": ENTRY_POINTS}
    if os.path.isdir(built):
        for name in sorted(os.listdir(built)):
            if name not in ("RECORD", "WHEEL", "INSTALLER", "REQUESTED", "direct_url.json"):
                with open(os.path.join(built, name), encoding="utf-8") as f:
                    texts[name] = f.read()
    texts["WHEEL"] = f"Wheel-Version: 1.0\nGenerator: anadata make_wheel.py\nRoot-Is-Purelib: false\nTag: {tag}\n"
    info = f"anadata-{args.version}.dist-info"
    return [(f"{info}/{name}", text.encode(), False) for name, text in sorted(texts.items())], f"{info}/RECORD"


def write_wheel(path, entries, record_name):
    record = "".join(record_line(name, data) for name, data, _ in entries) + f"{record_name},,\n"
    entries = entries + [(record_name, record.encode(), False)]
    partial = path + ".part"
    with zipfile.ZipFile(partial, "w", zipfile.ZIP_DEFLATED) as wheel:
        for name, data, executable in entries:
            info = zipfile.ZipInfo(name, date_time=time.gmtime(EPOCH)[:6])
            info.external_attr = (0o100755 if executable else 0o100644) << 16
            info.compress_type = zipfile.ZIP_DEFLATED
            wheel.writestr(info, data)
    os.replace(partial, path)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    for option in ("package", "sources", "extension", "library", "soname", "version", "output"):
        parser.add_argument(f"--{option}", required=True)
    parser.add_argument("--strip", default="strip", help="strip program ('' keeps the symbols)")
    args = parser.parse_args()

    tag = wheel_tag()
    info, record_name = dist_info_files(args, tag)
    os.makedirs(args.output, exist_ok=True)
    path = os.path.join(args.output, f"anadata-{args.version}-{tag}.whl")
    write_wheel(path, package_files(args) + info, record_name)
    print(f"wheel: {path} ({os.path.getsize(path)} bytes)")


if __name__ == "__main__":
    main()
