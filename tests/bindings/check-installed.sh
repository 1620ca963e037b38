#!/bin/sh
# Installs the build tree into a scratch prefix, then compiles the C test program with gcc as C99
# and the Fortran test programs with gfortran against the installed headers and library, and runs both.
set -eu
build="$1"
sources="$2"
scratch=$(mktemp -d /tmp/anadata-bindings-XXXXXX)
trap 'rm -rf "$scratch"' EXIT INT TERM

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
libdir=$(dirname "$(find "$scratch/prefix" -name 'libanadata.so' | head -n 1)")
include="$scratch/prefix/include/anadata"

gcc -std=c99 -pedantic-errors -Wall -Wextra -I"$include" -o "$scratch/c_roundtrip" \
    "$sources/c_roundtrip.c" -L"$libdir" -lanadata
gfortran -I"$include" -o "$scratch/fortran_roundtrip" "$sources/fortran_roundtrip.f" "$sources/fortran_checks.f" -L"$libdir" -lanadata

# The service programs need a running service, so they are only built here; the C++-only header
# of the soapAnaData* family must compile without a warning.
gcc -std=c99 -pedantic-errors -Wall -Wextra -Werror -I"$include" -o "$scratch/c_service" \
    "$sources/c_service.c" -L"$libdir" -lanadata
gfortran -Wall -Werror -I"$include" -o "$scratch/fortran_service" "$sources/fortran_service.f" "$sources/fortran_checks.f" -L"$libdir" -lanadata
printf '#include <anadata/soapAnaData.h>\nint main() { std::string d; return soapAnaDataThe_date(d); }\n' \
    >"$scratch/soap.cpp"
g++ -std=c++17 -Wall -Wextra -pedantic -Werror -I"$scratch/prefix/include" -o "$scratch/soap" "$scratch/soap.cpp" \
    -L"$libdir" -lanadata

cd "$scratch"
LD_LIBRARY_PATH="$libdir" ./c_roundtrip
LD_LIBRARY_PATH="$libdir" ./fortran_roundtrip
echo "installed C and Fortran programs: ok"
