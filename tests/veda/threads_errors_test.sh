#!/usr/bin/env bash
# The ways a conversion ends early give the same standard output, exit code
# and bytes on disk on one thread and on many: a write error (the file size
# limit, SIGXFSZ ignored) before, between and after the points where the
# one-thread data writer writes its 1 MB chunk, combined with an internal
# error that ends the run at the second data entry; and the dump of the same
# file under a file size limit.
#
#   threads_errors_test.sh ZAB2VEDA ZABTOOL
set -u
z2v=$1 zabtool=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
fail=0

# p: 64,000 records, 2,410,669 bytes of lines (one-thread chunk writes end at
# 1,044,480 and about 2,093,000 bytes); q: the entry that ends the run.
python3 - <<'PY' > e.json
import json
labs = ["l%d" % i for i in range(40)]
recs = [{"keys": [a, b, c], "value": i * 0.37}
        for i, (a, b, c) in enumerate((a, b, c) for a in labs for b in labs for c in labs)]
print(json.dumps({"symbols": [
    {"name": "p", "type": "parameter", "dim": 3, "records": recs},
    {"name": "q", "type": "parameter", "dim": 1, "records": [{"keys": ["l1"], "value": 7}]}]}))
PY
"$zabtool" build e.json e.zab >/dev/null || { echo "FAIL: zabtool build"; exit 1; }
cat > e.vdd <<'VDD'
[Dimensions]
Attribute attr
First     a
Second    b
Third     c
Zone      zone
[DataEntries]
Value p a b c
Load  q zone
VDD

# run LIMIT THREADS BATCH [OUTPUT ARGS...]: sets res to the exit code, the
# last two lines of standard output and the size and checksum of the output
# (e.vd of the conversion by default)
run() {
  local limit=$1 out=${4:-e.vd}
  local envs=(ZAB2VEDA_THREADS=$2) args=("${@:5}")
  [[ -n $3 ]] && envs+=(ZAB2VEDA_BATCH_RECORDS=$3)
  [[ ${#args[@]} -eq 0 ]] && args=(e.zab e.vdd)
  rm -f "$out"
  (trap '' XFSZ; [[ $limit != none ]] && ulimit -f "$limit"; env "${envs[@]}" "$z2v" "${args[@]}" > out.txt 2>&1)
  res="rc=$? $(tail -n 2 out.txt | tr '\n' '|') $(stat -c %s "$out" 2>/dev/null) $(md5sum < "$out" 2>/dev/null)"
}

written='*** Could not write file: e.vd|*** Msg: File too large|'
internal='--- VEDA Cube: DataRecords=64001|*** Internal error: tuple place 0 outside tab 5|'
# limit in KiB | what the one-thread run ends with
table=(
  "none|$internal"
  "400|$written"         # inside the first chunk
  "2040|$written"        # inside the second chunk: found when it is written
  "2060|$internal"       # after the second chunk: the rest goes out on the way out
  "2200|$internal"
)
for row in "${table[@]}"; do
  IFS='|' read -r limit want <<< "$row"
  want=${want%|}
  run "$limit" 1 ""
  one=$res
  if [[ $one != "rc=1 $want|"* ]]; then echo "FAIL limit $limit, one thread: $one"; fail=1; fi
  for tb in "2 1" "2 1000" "3 7" "7 3" "7 "; do
    read -r t b <<< "$tb"
    run "$limit" "$t" "$b"
    if [[ $res != "$one" ]]; then
      echo "FAIL limit $limit, threads $t, batch ${b:-default}: $res"
      echo "     one thread: $one"
      fail=1
    fi
  done
done
# The dump (3.4 MB): its write errors are reported when the file is closed.
for limit in none 400 2060; do
  run "$limit" 1 "" e.csv e.zab
  one=$res
  if [[ $limit != none && $one != "rc=1 "*"Could not write file: e.csv|"* ]]; then
    echo "FAIL dump, limit $limit, one thread: $one"; fail=1
  fi
  for tb in "2 1" "3 7" "7 "; do
    read -r t b <<< "$tb"
    run "$limit" "$t" "$b" e.csv e.zab
    if [[ $res != "$one" ]]; then
      echo "FAIL dump, limit $limit, threads $t, batch ${b:-default}: $res"
      echo "     one thread: $one"
      fail=1
    fi
  done
done
# Without SIGXFSZ ignored by the caller, the limit is still an ordinary
# write error: message, exit code 1, the lines before it on disk; the same
# for zabtool's output.
rm -f e.vd
(ulimit -f 400; ZAB2VEDA_THREADS=1 "$z2v" e.zab e.vdd > out.txt 2>&1)
res="rc=$? $(tail -n 2 out.txt | tr '\n' '|') $(stat -c %s e.vd)"
if [[ $res != "rc=1 $written $((400 * 1024))" ]]; then
  echo "FAIL limit without the signal ignored: $res"; fail=1
fi
(ulimit -f 400; "$zabtool" dump e.zab e2.json > out.txt 2>&1)
rc=$?
if [[ $rc != 1 || $(cat out.txt) != "zabtool: cannot write e2.json: File too large" || -e e2.json ]]; then
  echo "FAIL zabtool under a file size limit: rc=$rc $(cat out.txt)"; fail=1
fi
exit $fail
