#!/usr/bin/env bash
# The Debian package: `cpack -G DEB` of the build tree, its control fields,
# that it holds everything `cmake --install` installs plus Debian's own
# files, the programs run from the unpacked package (the library found
# through the RUNPATH, LD_LIBRARY_PATH unset, from another folder), and
# lintian without errors when lintian is installed.
#
#   [CPACK=cpack] deb_package.sh BUILD_DIR SOURCE_DIR VERSION
set -u
build=$(cd "$1" && pwd) src=$(cd "$2" && pwd) version=$3
work=$(mktemp -d)
trap '[[ -n ${KEEP:-} ]] || rm -rf "$work"' EXIT
unset LD_LIBRARY_PATH
fail=0
bad() { echo "FAIL $*"; fail=1; }

"${CPACK:-cpack}" -G DEB --config "$build/CPackConfig.cmake" -B "$work/pkg" >"$work/cpack.log" 2>&1 ||
  { cat "$work/cpack.log"; echo "FAIL cpack"; exit 1; }
debs=("$work"/pkg/zab2veda_"$version"_*.deb)
deb=${debs[0]}
[[ -f $deb ]] || { ls "$work/pkg"; echo "FAIL no zab2veda_${version}_<arch>.deb"; exit 1; }

# ---- control fields -------------------------------------------------------------
field() { dpkg-deb -f "$deb" "$1"; }
[[ $(field Package) == zab2veda ]] || bad "Package: $(field Package)"
[[ $(field Version) == "$version" ]] || bad "Version: $(field Version)"
[[ $(field Section) == science ]] || bad "Section: $(field Section)"
[[ $(field Maintainer) == *"<"*"@"*">" ]] || bad "Maintainer: $(field Maintainer)"
# computed by dpkg-shlibdeps from the binaries
[[ $(field Depends) == *"libc6 (>= "*"libstdc++6 (>= "* ]] || bad "Depends: $(field Depends)"

# ---- contents: what cmake --install installs, and Debian's own files -----------
DESTDIR=$work/inst cmake --install "$build" --prefix /usr >/dev/null 2>&1 || bad "cmake --install"
dpkg-deb -x "$deb" "$work/root"
# manual pages are packed compressed
(cd "$work/inst" && find . -mindepth 1 ! -type d | sed '\|^\./usr/share/man/|{/\.gz$/!s/$/.gz/}' |
  sort) >"$work/installed"
(cd "$work/root" && find . -mindepth 1 ! -type d | sort) >"$work/packaged"
printf '%s\n' ./usr/share/doc/zab2veda/changelog.gz ./usr/share/doc/zab2veda/copyright \
  ./usr/share/lintian/overrides/zab2veda >>"$work/installed"
if ! diff <(sort "$work/installed") "$work/packaged"; then bad "package contents (< installed, > packaged)"; fi

root=$work/root
doc=$root/usr/share/doc/zab2veda
[[ $(head -1 "$doc/copyright") == "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/" ]] ||
  bad "copyright is not in Debian's format"
[[ $(gzip -dc "$doc/changelog.gz" | head -1) == "zab2veda ($version) "* ]] || bad "changelog.gz"
for f in usr/bin/zab2veda usr/bin/zabtool $(cd "$root" && echo usr/lib/*/libzabcclib64.so.* usr/lib/libzabcclib64.so.*); do
  [[ -f $root/$f && ! -L $root/$f ]] || continue
  readelf -S "$root/$f" | grep -q -e '\.symtab' -e '\.debug_info' && bad "not stripped: $f"
done

# ---- the unpacked programs, from another folder --------------------------------
mkdir -p "$work/cwd" && cd "$work/cwd" || exit 1
audit=$("$root/usr/bin/zab2veda" AUDIT 2>&1) || bad "zab2veda AUDIT: exit code $?"
[[ $audit == *" $version "* ]] || bad "zab2veda AUDIT: '$audit'"
"$root/usr/bin/zabtool" --help >/dev/null 2>&1 || bad "zabtool --help"
ex=$doc/examples/transport
golden=$src/tests/golden/cases/conv_example/expected
for how in path PATH; do
  mkdir "$how" && cd "$how" || exit 1
  if [[ $how == path ]]; then
    "$root/usr/bin/zab2veda" "$ex/transport.zab" "$ex/transport.vdd" >stdout 2>&1
  else  # the bare library name, found through the RUNPATH only
    PATH=$root/usr/bin:$PATH zab2veda "$ex/transport.zab" "$ex/transport.vdd" >stdout 2>&1
  fi
  echo $? >exitcode
  for f in stdout exitcode files/transport.vd files/transport.vde files/transport.vds; do
    cmp -s "$golden/$f" "${f#files/}" || { bad "example ($how): ${f#files/} differs"; cat stdout; }
  done
  cd .. || exit 1
done

# ---- lintian ---------------------------------------------------------------------
if command -v lintian >/dev/null; then
  lintian "$deb" >"$work/lintian.log" 2>&1
  grep -v '^running with root privileges' "$work/lintian.log"
  grep -q '^E: ' "$work/lintian.log" && bad "lintian reports errors"
else
  echo "note: lintian is not installed; the package is not checked by it"
fi

[[ $fail == 0 ]] && echo "Debian package $(basename "$deb"): all checks passed"
exit $fail
