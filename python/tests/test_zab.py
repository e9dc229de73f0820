import json
import os
import pty
import subprocess
import sys

import numpy as np
import pandas as pd
import pytest

import zab

from conftest import ROOT

ALL_TYPES = {
    "texts": ["unused text"],
    "symbols": [
        {"name": "r", "type": "set", "dim": 1, "text": "regions", "userinfo": 7,
         "records": [{"keys": ["south"], "text": "Southern"}, {"keys": ["north"]},
                     {"keys": ["East"], "text": "Eastern"}]},
        {"name": "cap", "type": "parameter", "dim": 2, "text": "capacity",
         "records": [{"keys": ["north", "south"], "value": 350.25},
                     {"keys": ["south", "north"], "value": "EPS"},
                     {"keys": ["north", "north"], "value": "UNDEF"},
                     {"keys": ["east", "north"], "value": "NA"},
                     {"keys": ["east", "east"], "value": "-INF"},
                     {"keys": ["south", "east"], "value": "NaN"},
                     {"keys": ["south", "south"], "value": -0.0}]},
        {"name": "flow", "type": "variable", "dim": 2,
         "records": [{"keys": ["north", "south"], "level": 50, "marginal": 0.5, "upper": "+INF"},
                     {"keys": ["south", "north"], "lower": "-INF", "scale": 3, "level": 1e-300}]},
        {"name": "bal", "type": "equation", "dim": 1,
         "records": [{"keys": ["north"], "level": 1, "marginal": "EPS", "upper": 4}]},
        {"name": "total", "type": "variable", "dim": 0, "records": [{"keys": [], "level": 153.7}]},
        {"name": "odd", "type": 7, "dim": 1, "records": [{"keys": ["north"], "value": 2}]},
        {"name": "empty", "type": "parameter", "dim": 3},
        {"name": "rr", "type": "alias", "of": "r", "text": "same regions"},
    ],
}


def test_copy_dumps_like_the_source(zabtool, tmp_path):
    src = zabtool.build(ALL_TYPES, tmp_path / "src.zab")
    zab.write(tmp_path / "copy.zab", zab.read(src))
    assert zabtool.dump(tmp_path / "copy.zab") == zabtool.dump(src)


def test_read_gives_columns_types_attrs_and_markers(zabtool, tmp_path):
    z = zab.read(zabtool.build(ALL_TYPES, tmp_path / "src.zab"))
    assert list(z) == ["r", "cap", "flow", "bal", "total", "odd", "empty", "rr"]
    assert [len(z[n]) for n in z] == [3, 7, 2, 1, 1, 1, 0, 3]
    assert z.labels == ["south", "north", "East"]
    assert z.texts == ["unused text", "Southern", "Eastern"]
    r = z["r"]
    assert list(r.columns) == ["dim1", "text"]
    assert r.attrs["type"] == "set" and r.attrs["userinfo"] == 7 and r.attrs["text"] == "regions"
    assert list(r["dim1"]) == ["south", "north", "East"]  # label number order
    assert list(r["text"]) == ["Southern", "", "Eastern"]
    assert isinstance(r["dim1"].dtype, pd.CategoricalDtype)
    cap = z["cap"].set_index(["dim1", "dim2"])["value"]
    assert cap["north", "south"] == 350.25
    assert zab.is_eps(cap["south", "north"]) and cap["south", "north"] == zab.EPS
    assert zab.is_undef(cap["north", "north"]) and np.isnan(cap["north", "north"])
    assert zab.is_na(cap["East", "north"]) and not zab.is_undef(cap["East", "north"])
    assert cap["East", "East"] == -np.inf
    assert np.isnan(cap["south", "East"]) and not zab.is_na(cap["south", "East"])
    assert np.signbit(cap["south", "south"])
    assert list(z["flow"].columns) == ["dim1", "dim2", "level", "marginal", "lower", "upper",
                                       "scale"]
    assert z["flow"]["upper"].tolist() == [np.inf, np.inf]
    assert z["odd"].attrs["type"] == 7 and list(z["odd"].columns) == ["dim1", "value"]
    assert list(z["empty"].columns) == ["dim1", "dim2", "dim3", "value"]
    assert z["rr"].attrs["alias_of"] == "r" and z["rr"].attrs["type"] == "alias"
    raw = zab.read(tmp_path / "src.zab", symbols=["CAP"], raw=True)
    assert list(raw) == ["cap"]
    assert {1e300, 2e300, 4e300, 5e300} <= set(raw["cap"]["value"].tolist())


def test_frames_round_trip_bit_for_bit(tmp_path):
    lab = lambda *v: pd.Categorical(v)
    frames = {
        "s": pd.DataFrame({"dim1": lab("a", "b"), "dim2": lab("x", "y"), "text": ["t1", ""]}),
        "p": pd.DataFrame({"dim1": lab("a", "b", "c", "d", "e", "f", "g"),
                           "value": [1.5, zab.EPS, zab.UNDEF, zab.NA, np.inf, -np.inf, np.nan]}),
        "v": pd.DataFrame({"dim1": lab("a"), "level": [2.0], "marginal": [zab.NA],
                           "lower": [-np.inf], "upper": [np.inf], "scale": [1.0]}),
        "e": pd.DataFrame({"level": [zab.EPS], "marginal": [0.0], "lower": [0.0],
                           "upper": [5.0], "scale": [2.0]}),
    }
    frames["e"].attrs["type"] = "equation"
    zab.write(tmp_path / "f.zab", frames)
    back = zab.read(tmp_path / "f.zab")
    for name, df in frames.items():
        got = back[name]
        assert list(got.columns) == list(df.columns), name
        for c in df.columns:
            if df[c].dtype == np.float64:
                assert got[c].to_numpy().view(np.uint64).tolist() == \
                    df[c].to_numpy().view(np.uint64).tolist(), (name, c)
            else:
                assert got[c].astype(str).tolist() == df[c].astype(str).tolist(), (name, c)
    assert back["e"].attrs["type"] == "equation" and back["v"].attrs["type"] == "variable"


def test_python_file_dumps_like_json_of_same_content(zabtool, tmp_path):
    # No label list: numbers follow first appearance, rows in order, keys left to right.
    doc = {"symbols": [
        {"name": "s", "type": "set", "dim": 2,
         "records": [{"keys": ["b", "a"], "text": "x"}, {"keys": ["c", "b"]},
                     {"keys": ["A", "d"], "text": "y"}]},
        {"name": "p", "type": "parameter", "dim": 1,
         "records": [{"keys": ["e"], "value": 3}, {"keys": ["b"], "value": "EPS"}]},
        {"name": "q", "type": "parameter", "dim": 0, "records": [{"keys": [], "value": 2.5}]},
        {"name": "v", "type": "variable", "dim": 1, "text": "a variable", "userinfo": 4,
         "records": [{"keys": ["f"], "level": 1, "upper": 9}]},
        {"name": "ss", "type": "alias", "of": "s"},
    ]}
    want = zabtool.dump(zabtool.build(doc, tmp_path / "j.zab"))
    s = pd.DataFrame({"i": ["b", "c", "A"], "j": ["a", "b", "d"], "text": ["x", None, "y"]})
    zab.write(tmp_path / "py.zab", {
        "s": s,
        "p": {"e": 3, "b": "EPS"},
        "q": 2.5,
        "v": {"type": "variable", "text": "a variable", "userinfo": 4,
              "records": [{"keys": ["f"], "level": 1, "upper": 9}]},
        "ss": {"type": "alias", "of": "s"},
    })
    assert zabtool.dump(tmp_path / "py.zab") == want


def test_shipped_example_changed_and_written_back(zabtool, tmp_path):
    src = os.path.join(ROOT, "examples", "transport", "transport.json")
    z = zab.read(zabtool.build(open(src).read(), tmp_path / "t.zab"))
    a = z["a"]
    a["value"] = a["value"] * 2
    z["d"] = z["d"][z["d"]["dim2"] != "capital"].reset_index(drop=True)
    zab.write(tmp_path / "t2.zab", z)
    doc = json.load(open(src))
    for s in doc["symbols"]:
        if s["name"] == "a":
            for r in s["records"]:
                r["value"] *= 2
        if s["name"] == "d":
            s["records"] = [r for r in s["records"] if r["keys"][1] != "capital"]
    assert zabtool.dump(tmp_path / "t2.zab") == zabtool.dump(zabtool.build(doc, tmp_path / "w.zab"))


long_label = "x" * 256
BAD = [
    ("wrong columns", {"p": pd.DataFrame({"dim1": ["a"], "level": [1.0], "value": [1.0]})},
     "symbol p, column 'level'"),
    ("no value column", {"p": pd.DataFrame({"dim1": ["a"]}).assign(x=1.0).pipe(
        lambda d: d.set_axis(["dim1", "x"], axis=1)).astype({"x": object}).pipe(
        lambda d: (d.attrs.update(type="parameter"), d)[1])}, "no column 'value'"),
    ("long label", {"p": pd.DataFrame({"dim1": ["a", "b", long_label], "value": [1.0, 2, 3]})},
     "symbol p, row 2, column 'dim1'"),
    ("missing label", {"p": pd.DataFrame({"dim1": ["a", None], "value": [1.0, 2]})},
     "symbol p, row 1, column 'dim1': label missing"),
    ("21 index columns", {"p": pd.DataFrame({"d%d" % i: ["a"] for i in range(21)}).assign(
        value=1.0)}, "symbol p: 21 index columns, at most 20"),
    ("duplicate key", {"p": pd.DataFrame({"dim1": ["a", "b", "A"], "value": [1.0, 2, 3]})},
     "symbol p, rows 0 and 2: the same key"),
    ("long text", {"s": pd.DataFrame({"dim1": ["a", "b"], "text": ["", "t" * 256]})},
     "symbol s, row 1, column 'text'"),
    ("not a number", {"p": pd.DataFrame({"dim1": ["a", "b"], "value": [1.0, "lots"]})},
     "symbol p, row 1, column 'value'"),
    ("bad type", {"p": {"type": "table", "records": []}}, "symbol p: type 'table'"),
    ("float labels", {"p": pd.DataFrame({"dim1": [1.5], "value": [1.0]})},
     "index columns hold labels"),
    ("scalar with two rows", {"p": pd.DataFrame({"value": [1.0, 2.0]})}, "scalar"),
    ("alias of nothing", {"t": {"type": "alias", "of": "nope"}}, "symbol t"),
]


@pytest.mark.parametrize("what,symbols,message", BAD, ids=[b[0] for b in BAD])
def test_bad_input_names_symbol_and_row_and_writes_nothing(tmp_path, what, symbols, message):
    target = tmp_path / "out.zab"
    target.write_bytes(b"old content")
    good = {"g": pd.DataFrame({"dim1": ["a"], "value": [1.0]})}
    with pytest.raises(zab.ZabError) as e:
        zab.write(target, dict(good, **symbols))
    assert message in str(e.value)
    assert str(target) in str(e.value)
    assert target.read_bytes() == b"old content"
    assert os.listdir(tmp_path) == ["out.zab"]


def test_ieee_infinity_reads_as_inf_and_writes_as_the_special(zabtool, tmp_path):
    doc = {"symbols": [{"name": "p", "type": "parameter", "dim": 0,
                        "records": [{"keys": [], "value": "Infinity"}]}]}
    z = zab.read(zabtool.build(doc, tmp_path / "i.zab"))
    assert z["p"]["value"][0] == np.inf
    zab.write(tmp_path / "o.zab", z)
    assert '"+INF"' in zabtool.dump(tmp_path / "o.zab")
    zab.write(tmp_path / "r.zab", zab.read(tmp_path / "i.zab", raw=True), raw=True)
    assert zabtool.dump(tmp_path / "r.zab") == zabtool.dump(tmp_path / "i.zab")


def test_symbol_listing(zabtool, tmp_path):
    s = zab.symbols(zabtool.build(ALL_TYPES, tmp_path / "src.zab"))
    assert list(s.columns) == ["name", "type", "dim", "count", "text"]
    assert s.iloc[1].tolist() == ["cap", "parameter", 2, 7, "capacity"]
    assert s.iloc[7].tolist() == ["rr", "alias", 1, 3, "same regions"]


def test_open_errors(tmp_path):
    with pytest.raises(zab.ZabError) as e:
        zab.read(tmp_path / "missing.zab")
    assert e.value.code == 101 and "missing.zab" in str(e.value)
    (tmp_path / "junk.zab").write_bytes(b"not a zab file at all" * 10)
    with pytest.raises(zab.ZabError):
        zab.read(tmp_path / "junk.zab")


def _write_with_stderr(stderr, tmp_path):
    old = sys.stderr
    sys.stderr = stderr
    try:
        zab.write(tmp_path / "p.zab", {"p": pd.DataFrame({"dim1": ["a", "b"], "value": [1.0, 2]})})
    finally:
        sys.stderr = old


def test_progress_only_on_a_terminal(tmp_path, monkeypatch):
    monkeypatch.setattr(zab, "PROGRESS_AFTER", 0.0)
    master, slave = pty.openpty()
    with os.fdopen(slave, "w") as tty:
        _write_with_stderr(tty, tmp_path)
    shown = os.read(master, 1000).decode()
    os.close(master)
    assert "writing" in shown and "100%" in shown
    with open(tmp_path / "err.txt", "w") as f:
        _write_with_stderr(f, tmp_path)
    assert (tmp_path / "err.txt").read_text() == ""


def test_library_lookup(tmp_path):
    env = dict(os.environ, PYTHONPATH=os.path.join(ROOT, "python"),
               ZAB_LIBRARY=str(tmp_path / "nothere.so"))
    r = subprocess.run([sys.executable, "-c", "import zab"], env=env, capture_output=True)
    assert r.returncode != 0
    assert b"ImportError: zab: cannot load the ZAB library named by ZAB_LIBRARY" in r.stderr
    del env["ZAB_LIBRARY"]  # the build tree of this checkout
    env["LD_LIBRARY_PATH"] = ""
    r = subprocess.run([sys.executable, "-c", "import zab; print(zab._lib.lib._name)"], env=env,
                       capture_output=True)
    assert r.returncode == 0, r.stderr


def test_series_is_a_parameter(tmp_path):
    s = pd.Series([1.0, 2.0], index=pd.MultiIndex.from_tuples([("a", "x"), ("b", "y")]))
    zab.write(tmp_path / "s.zab", {"p": s})
    p = zab.read(tmp_path / "s.zab")["p"]
    assert p.attrs["type"] == "parameter" and p.attrs["dim"] == 2
    assert p["value"].tolist() == [1.0, 2.0]
