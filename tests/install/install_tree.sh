#!/usr/bin/env bash
# The installed tree: `cmake --install` into a throw-away prefix, its layout,
# the C example built against the installed files only (CMake package and
# pkg-config), the file it writes converted by the installed zab2veda, and
# the installed programs and Python package run after the prefix was moved,
# from another folder, with LD_LIBRARY_PATH unset.
#
#   install_tree.sh BUILD_DIR SOURCE_DIR VERSION
set -u
build=$(cd "$1" && pwd) src=$(cd "$2" && pwd) version=$3
major=${version%%.*}
work=$(mktemp -d)
trap '[[ -n ${KEEP:-} ]] || rm -rf "$work"' EXIT
unset LD_LIBRARY_PATH PKG_CONFIG_PATH CMAKE_PREFIX_PATH
fail=0
bad() { echo "FAIL $*"; fail=1; }
expected=$src/tests/install/expected

libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:[A-Z]*=//p' "$build/CMakeCache.txt")
[[ -n $libdir ]] || { echo "no CMAKE_INSTALL_LIBDIR in $build/CMakeCache.txt"; exit 1; }
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >"$work/install.log" 2>&1 ||
  { cat "$work/install.log"; echo "FAIL cmake --install"; exit 1; }
docdir=$prefix/share/doc/zab2veda

# ---- layout -----------------------------------------------------------------
for f in bin/zab2veda bin/zabtool; do [[ -x $prefix/$f ]] || bad "not installed: $f"; done
lib=$prefix/$libdir
[[ $(readlink "$lib/libzabcclib64.so") == "libzabcclib64.so.$major" ]] ||
  bad "libzabcclib64.so does not link to libzabcclib64.so.$major"
[[ $(readlink "$lib/libzabcclib64.so.$major") == "libzabcclib64.so.$version" ]] ||
  bad "libzabcclib64.so.$major does not link to libzabcclib64.so.$version"
[[ -f $lib/libzabcclib64.so.$version && ! -L $lib/libzabcclib64.so.$version ]] ||
  bad "libzabcclib64.so.$version is not a file"
soname=$(readelf -d "$lib/libzabcclib64.so.$version" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[[ $soname == "libzabcclib64.so.$major" ]] || bad "SONAME is '$soname'"
runpath=$(readelf -d "$prefix/bin/zab2veda" | sed -n 's/.*(RUNPATH).*\[\(.*\)\]/\1/p')
[[ $runpath == "\$ORIGIN:\$ORIGIN/../$libdir" ]] || bad "zab2veda's RUNPATH is '$runpath'"
cmp -s "$src/include/zabcclib.h" "$prefix/include/zabcclib.h" || bad "include/zabcclib.h"
for f in pkgconfig/zabcclib.pc cmake/zabcclib/zabcclibConfig.cmake \
  cmake/zabcclib/zabcclibConfigVersion.cmake cmake/zabcclib/zabcclibTargets.cmake; do
  [[ -f $lib/$f ]] || bad "not installed: $libdir/$f"
done
for f in README.md LICENSE CHANGELOG.md; do cmp -s "$src/$f" "$docdir/$f" || bad "doc $f"; done
for f in "$src"/docs/*.md; do cmp -s "$f" "$docdir/docs/${f##*/}" || bad "doc docs/${f##*/}"; done
for f in transport/transport.json transport/transport.vdd c-writer/writer.c \
  c-writer/CMakeLists.txt c-writer/Makefile c-writer/mills.vdd c-writer/README.md; do
  cmp -s "$src/examples/$f" "$docdir/examples/$f" || bad "example $f"
done
[[ -s $docdir/examples/transport/transport.zab ]] || bad "example transport.zab not installed"
for f in __init__.py _lib.py _installed.py; do
  [[ -f $prefix/lib/python3/dist-packages/zab/$f ]] || bad "Python package: no $f"
done
# Debian's own files come only with the package.
[[ ! -e $docdir/copyright && ! -e $prefix/share/lintian ]] || bad "Debian-only files installed"

# ---- the C example, built against the installed files only ---------------------
cp -r "$docdir/examples/c-writer" "$work/cw-make"
if ! (cd "$work/cw-make" && PKG_CONFIG_PATH=$lib/pkgconfig make -s) >"$work/make.log" 2>&1; then
  cat "$work/make.log"; bad "C example: make with pkg-config"
fi
if ! { cmake -S "$docdir/examples/c-writer" -B "$work/cw-cmake" -DCMAKE_PREFIX_PATH="$prefix" &&
  cmake --build "$work/cw-cmake"; } >"$work/cmake.log" 2>&1; then
  cat "$work/cmake.log"; bad "C example: CMake with find_package(zabcclib)"
fi
mkdir -p "$work/run-make" "$work/run-cmake"
for how in make cmake; do
  exe=$work/cw-$how/writer
  [[ -x $exe ]] || continue
  # the program links the installed library, not one of the build tree
  linked=$(ldd "$exe" | sed -n 's/.*libzabcclib64.so.* => \([^ ]*\) .*/\1/p')
  [[ $(readlink -f "$linked") == $(readlink -f "$lib/libzabcclib64.so.$version") ]] ||
    bad "C example ($how) links '$linked'"
  (cd "$work/run-$how" && "$exe" mills.zab) || bad "C example ($how) failed"
done

# ---- move the prefix; run from another folder -----------------------------------
mkdir -p "$work/elsewhere"
mv "$prefix" "$work/elsewhere/moved"
prefix=$work/elsewhere/moved docdir=$work/elsewhere/moved/share/doc/zab2veda
mkdir -p "$work/cwd"
cd "$work/cwd" || exit 1

# compare NAME DIR EXPECTED_DIR FILES...: the files DIR holds equal EXPECTED_DIR's
compare() {
  local name=$1 dir=$2 exp=$3 f
  shift 3
  for f in "$@"; do
    cmp -s "$exp/$f" "$dir/$f" || { bad "$name: $f differs"; diff "$exp/$f" "$dir/$f" | head -10; }
  done
}

# The C example's file as zabtool dumps it, then converted by zab2veda found
# through PATH: the library comes by its bare name through the RUNPATH, not
# from the current folder (which holds a stand-in library of the tests, when
# they are built).
stand_in=$build/tests/zab/fakelibs/badversion/libzabcclib64.so
for how in make cmake; do
  [[ -f $work/run-$how/mills.zab ]] || { bad "C example ($how) wrote no mills.zab"; continue; }
  mkdir "$work/cwd/$how" && cd "$work/cwd/$how" || exit 1
  [[ -f $stand_in ]] && cp "$stand_in" .
  "$prefix/bin/zabtool" dump "$work/run-$how/mills.zab" mills.json || bad "zabtool dump ($how)"
  PATH=$prefix/bin:$PATH zab2veda "$work/run-$how/mills.zab" "$docdir/examples/c-writer/mills.vdd" \
    >stdout 2>&1
  echo $? >exitcode
  compare "C example ($how)" . "$expected/mills" mills.json stdout exitcode mills.vd mills.vde mills.vds
  [[ $(ls | grep -cv '^libzabcclib64.so$') == 6 ]] ||
    bad "C example ($how): files written: $(ls | tr '\n' ' ')"
  cd "$work/cwd" || exit 1
done

# The shipped example, by the program's path (the library next to the
# program is not there; the RUNPATH finds it).
mkdir "$work/cwd/transport" && cd "$work/cwd/transport" || exit 1
"$prefix/bin/zab2veda" "$docdir/examples/transport/transport.zab" \
  "$docdir/examples/transport/transport.vdd" >stdout 2>&1
echo $? >exitcode
compare "transport example" . "$src/tests/golden/cases/conv_example/expected" stdout exitcode
compare "transport example" . "$src/tests/golden/cases/conv_example/expected/files" \
  transport.vd transport.vde transport.vds

audit=$("$prefix/bin/zab2veda" AUDIT 2>&1) || bad "zab2veda AUDIT: exit code $?"
[[ $audit == *" $version "* ]] || bad "zab2veda AUDIT: '$audit'"
"$prefix/bin/zabtool" --help >/dev/null 2>&1 || bad "zabtool --help"

# The Python package finds the library installed beside it.
if /usr/bin/python3 -c "import numpy, pandas" 2>/dev/null; then
  got=$(cd "$work/cwd" && PYTHONPATH=$prefix/lib/python3/dist-packages /usr/bin/python3 -c '
import sys, zab
print(zab._lib.lib._name)
print(zab.read(sys.argv[1])["cap"].to_csv(index=False), end="")
' "$work/run-cmake/mills.zab" 2>&1)
  want="$prefix/$libdir/libzabcclib64.so
dim1,value
north-mill,420.0
south-mill,510.0"
  [[ $got == "$want" ]] || { bad "Python package"; diff <(echo "$want") <(echo "$got"); }
else
  echo "note: numpy/pandas missing, the Python package is not checked"
fi

[[ $fail == 0 ]] && echo "installed tree: all checks passed"
exit $fail
