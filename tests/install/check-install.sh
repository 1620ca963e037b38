#!/bin/sh
# Installs the build tree into a scratch prefix, then builds a small program against it twice
# (through find_package(anadata) and through pkg-config), and the C and Fortran test programs.
set -eu
build="$1"
consumer="$2"
bindings="$3"
python="${4:-}"  # the interpreter of the Python package, when it is built
scratch=$(mktemp -d "${TMPDIR:-/tmp}/anadata-install-XXXXXX")
trap 'rm -rf "$scratch"' EXIT INT TERM

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
include="$prefix/include/anadata"
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
echo "install consumers: ok"
