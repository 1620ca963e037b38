#!/bin/sh
# Installs the build tree into a scratch prefix, then builds a small program against it twice
# (through find_package(anadata) and through pkg-config), and the C and Fortran test programs.
# Then the Debian packages, unpacked into a scratch root, and the wheel, installed into a venv.
#   check-install.sh BUILD CONSUMER BINDINGS [PYTHON [WHEEL-COMMAND...]]
set -eu
build="$1"
consumer="$2"
bindings="$3"
python="${4:-}"  # the interpreter of the Python package, when it is built
shift 3
[ $# -gt 0 ] && shift
# What follows is the command that makes the wheel, less its --output DIR.
scratch=$(mktemp -d "${TMPDIR:-/tmp}/anadata-install-XXXXXX")
packager=
cleanup() {
    if [ -n "$packager" ]; then
        kill -- "-$packager" 2>/dev/null || true
        wait "$packager" 2>/dev/null || true
    fi
    rm -rf "$scratch"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
fail() {
    echo "check-install: $*" >&2
    exit 1
}

# The Debian packages are made and checked by lintian (both slow) in a process group of their own
# while the install is tried; lintian's temporary files stay in the scratch directory.
packages="$scratch/packages"
mkdir "$scratch/lintian-tmp"
setsid -w sh -c 'cpack -G DEB --config "$1/CPackConfig.cmake" -B "$2" >"$3/cpack.log" 2>&1 || exit 1
              rm -rf "$2/_CPack_Packages"
              TMPDIR="$3/lintian-tmp" lintian "$2"/*.deb >"$3/lintian.log" 2>&1
              exit 0' sh "$build" "$packages" "$scratch" &
packager=$!

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null

# The programs and every public header a C, C++ or Fortran caller needs.
prefix="$scratch/prefix"
for file in bin/anadata bin/anadata-server include/anadata/anadata.h include/anadata/clsAnaDataAccess.h \
    include/anadata/explog.h include/anadata/anadata_c.h include/anadata/anadata.inc; do
    [ -e "$prefix/$file" ] || { echo "check-install: $file is not installed" >&2; exit 1; }
done
# The installed tool finds the installed library by itself (no LD_LIBRARY_PATH).
(cd "$scratch" && "$prefix/bin/anadata" sample installed.dat >/dev/null && "$prefix/bin/anadata" show installed.dat --json) \
    | grep -q '"name": "sample"' || { echo "check-install: the installed anadata does not run" >&2; exit 1; }
"$prefix/bin/anadata-server" --help >/dev/null || { echo "check-install: the installed anadata-server does not run" >&2; exit 1; }

cmake -S "$consumer" -B "$scratch/cmake-build" -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/cmake-build" >/dev/null
LD_LIBRARY_PATH="$scratch/prefix/lib:$scratch/prefix/lib/$(gcc -print-multiarch)" "$scratch/cmake-build/consumer"
# The build tree is a package too.
cmake -S "$consumer" -B "$scratch/tree-build" -Danadata_DIR="$build" >/dev/null
cmake --build "$scratch/tree-build" >/dev/null
"$scratch/tree-build/consumer"

pcdir=$(dirname "$(find "$scratch/prefix" -name anadata.pc | head -n 1)")
flags=$(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs anadata)
# Both programs tell the version pkg-config gives; the installed library exports nothing of gSOAP.
version=$(PKG_CONFIG_PATH="$pcdir" pkg-config --modversion anadata)
for program in anadata anadata-server; do
    [ "$("$prefix/bin/$program" --version)" = "$version" ] ||
        { echo "check-install: $program --version does not print $version" >&2; exit 1; }
done
"$bindings/check-symbols.sh" "$(find "$prefix" -name 'libanadata.so' | head -n 1)"
# shellcheck disable=SC2086
c++ -std=c++17 -o "$scratch/pc-consumer" "$consumer/consumer.cpp" $flags
LD_LIBRARY_PATH="$(PKG_CONFIG_PATH="$pcdir" pkg-config --variable=libdir anadata)" "$scratch/pc-consumer"

# The C programs compile as C99 and the Fortran ones with gfortran against the installed headers;
# the fetch examples need a running service, so they are only built; the others run. The
# C++-only header of the soapAnaData* family must compile without a warning.
libdir=$(dirname "$(find "$prefix" -name 'libanadata.so' | head -n 1)")
include="$prefix/include/anadata/flat"
examples="$bindings/../../examples"
for source in "$bindings/c_header.c" "$examples/c/example.c" "$examples/c/fetch.c"; do
    gcc -std=c99 -pedantic-errors -Wall -Wextra -Werror -I"$include" -o "$scratch/$(basename "$source" .c)" \
        "$source" -L"$libdir" -lanadata
done
for source in "$examples/fortran/example.f" "$examples/fortran/fetch.f"; do
    gfortran -Wall -Werror -I"$include" -o "$scratch/$(basename "$source" .f)_f" "$source" -L"$libdir" -lanadata
done
printf '#include <anadata/soapAnaData.h>\nint main() { std::string d; return soapAnaDataThe_date(d); }\n' \
    >"$scratch/soap.cpp"
g++ -std=c++17 -Wall -Wextra -pedantic -Werror -I"$prefix/include" -o "$scratch/soap" "$scratch/soap.cpp" \
    -L"$libdir" -lanadata
(cd "$scratch" && LD_LIBRARY_PATH="$libdir" ./example >/dev/null && LD_LIBRARY_PATH="$libdir" ./example_f >/dev/null)
# The installed Python package finds the installed library by itself, through PYTHONPATH alone, and
# xarray finds its engine through the installed dist-info.
if [ -n "$python" ]; then
    package=$(find "$prefix" -name '_anadata*.so' | head -n 1)
    [ -n "$package" ] || { echo "check-install: the Python package is not installed" >&2; exit 1; }
    PYTHONPATH=$(dirname "$(dirname "$package")") "$python" -c \
        'import sys, xarray; xarray.open_dataset(sys.argv[1], engine="anadata")' "$scratch/installed.dat" ||
        { echo "check-install: the installed Python package or its xarray engine does not run" >&2; exit 1; }
fi

# The wheel in a virtual environment that sees Debian's numpy, used from another directory.
if [ $# -gt 0 ]; then
    "$@" --output "$scratch/wheel" >/dev/null
    "$python" -m venv --without-pip --system-site-packages "$scratch/venv"
    "$scratch/venv/bin/python" -m pip install -q --no-index --disable-pip-version-check "$scratch"/wheel/anadata-*.whl
    (cd "$scratch" && env -u LD_LIBRARY_PATH -u PYTHONPATH "$scratch/venv/bin/python" -c \
        'import anadata, sys; assert anadata.__file__.startswith(sys.argv[1]); anadata.read("installed.dat")' \
        "$scratch/venv") || fail "the wheel does not import in a venv"
fi

# The Debian packages, unpacked as dpkg would install them (never into this system): the tool and
# the service run, a C program builds with the packaged pkg-config file and finds the library
# through the run path it was linked with, and Debian's python3 imports the package.
wait "$packager" || { cat "$scratch/cpack.log" >&2; fail "cpack failed"; }
packager=
root="$scratch/root"
expected="libanadata1 libanadata-dev anadata-tools anadata-server"
[ -n "$python" ] && expected="$expected python3-anadata"
for package in $expected; do
    deb=$(find "$packages" -name "${package}_*.deb")
    [ -n "$deb" ] || fail "no package $package"
    dpkg-deb -x "$deb" "$root"
    [ -f "$root/usr/share/doc/$package/copyright" ] || fail "$package has no copyright file"
done
for page in man1/anadata.1.gz man8/anadata-server.8.gz; do
    [ -f "$root/usr/share/man/$page" ] || fail "no manual page $page"
done
(cd "$scratch" && "$root/usr/bin/anadata" show installed.dat) | grep -q '^name: *sample' ||
    fail "the packaged anadata does not run"
"$root/usr/bin/anadata-server" --version >/dev/null || fail "the packaged anadata-server does not run"
pc=$(find "$root" -name anadata.pc)
flags=$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --cflags --libs anadata)
packaged_libdir=$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --variable=libdir anadata)
# shellcheck disable=SC2086
gcc -std=c99 -o "$scratch/packaged-example" "$examples/c/example.c" $flags -Wl,-rpath,"$packaged_libdir"
(cd "$scratch" && env -u LD_LIBRARY_PATH ./packaged-example >/dev/null) || fail "the C program does not run"
if [ -n "$python" ]; then
    (cd "$scratch" && env -u LD_LIBRARY_PATH PYTHONPATH="$root/usr/lib/python3/dist-packages" "$python" -c \
        'import anadata, sys; assert anadata.__file__.startswith(sys.argv[1]); anadata.read("installed.dat")' "$root") ||
        fail "the packaged Python package does not import"
fi
# Debian's checks pass: warnings are allowed, errors are not.
if grep '^E:' "$scratch/lintian.log" >&2; then
    fail "lintian reports errors"
fi
echo "install consumers: ok"
