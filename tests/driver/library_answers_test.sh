#!/usr/bin/env bash
# zab2veda as a whole program against a missing or deficient ZAB library:
# the program is copied into a folder of its own, next to one of the
# stand-in libraries of tests/zab (or none), and run there.
#
#   library_answers_test.sh ZAB2VEDA FAKELIBS_DIR
set -u
z2v=$1 fakes=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail=0

# run FOLDER ARGS...: runs the copy in FOLDER; sets out and code.
run() {
  local dir=$work/$1
  shift
  out=$(cd "$dir" && env -u LD_LIBRARY_PATH ./zab2veda "$@" 2>&1)
  code=$?
}

expect() {  # name, expected code, expected output
  if [[ $code != "$2" ]]; then echo "FAIL $1: exit code $code, expected $2"; fail=1; fi
  if [[ $out != "$3" ]]; then
    echo "FAIL $1: output differs"; diff <(printf '%s\n' "$3") <(printf '%s\n' "$out"); fail=1
  fi
}

setup() {  # folder, stand-in variant (empty: no library)
  mkdir -p "$work/$1"
  cp "$z2v" "$work/$1/zab2veda"
  [[ -n $2 ]] && cp "$fakes/$2/libzabcclib64.so" "$work/$1/"
}

# No library next to the program, none on its run path or the loader's.
setup alone ""
run alone model
first=${out%%$'\n'*}
second=${out#*$'\n'}
tail=" (problem occurred when trying to load libzabcclib64.so)"
if [[ $code != 1 || $first != "*** Could not load ZAB library" || $second != "*** Msg: "*"$tail" ]]; then
  echo "FAIL no library: exit code $code, output:"; printf '%s\n' "$out"; fail=1
fi

# Started through PATH from a folder that holds a library: the program's run
# path holds no empty entry, which would stand for the current folder.
setup viapath ""
mkdir -p "$work/cwdlib"
cp "$fakes/badversion/libzabcclib64.so" "$work/cwdlib/"
out=$(cd "$work/cwdlib" && env -u LD_LIBRARY_PATH PATH="$work/viapath:$PATH" zab2veda model 2>&1)
code=$?
first=${out%%$'\n'*}
second=${out#*$'\n'}
if [[ $code != 1 || $first != "*** Could not load ZAB library" || $second != "*** Msg: "*"$tail" ]]; then
  echo "FAIL library in the current folder: exit code $code, output:"; printf '%s\n' "$out"; fail=1
fi

setup badversion badversion
run badversion model
expect "API version refused" 1 "*** Could not load ZAB library
*** Msg: fake library speaks API version 99 only"

setup noversion noversion
run noversion model
expect "no XAPIVersion" 1 "*** Could not load ZAB library
*** Msg: Entry not found: D__XAPIVersion in ./libzabcclib64.so"

# The stand-in opens only good.zab and holds one empty scalar parameter.
setup refuse refuse
run refuse other
expect "open refused" 1 "*** Could not open ZAB: other.zab
*** Msg: no such file"

# XCheck refused zabSymbolInfoX: the library loads, and the listing ends the
# run when it first asks for it.
run refuse good
expect "operation refused" 123 "--- ZAB File : Symbols=1 UELs=0

Content of ZAB good.zab dump written to good.csv

Num Typ Dim Count  Name
zabSymbolInfoX could not be loaded from ./libzabcclib64.so: refused by the test library"
if [[ -e $work/refuse/good.csv ]]; then echo "FAIL operation refused: good.csv was created"; fail=1; fi

# The same library with nothing refused dumps the file.
setup complete exedir
run complete good
expect "stand-in dump" 0 "--- ZAB File : Symbols=1 UELs=0

Content of ZAB good.zab dump written to good.csv

Num Typ Dim Count  Name
  1 Par   0     0  x           
                0  ZAB record count
                1  CSV record count (including header)"
if [[ $(cat "$work/complete/good.csv" 2>/dev/null) != '"good.zab","Name","Value","Text"' ]]; then
  echo "FAIL stand-in dump: good.csv"; fail=1
fi
exit $fail
