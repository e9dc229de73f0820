"""Read and write ZAB files as pandas DataFrames.

    z = zab.read("model.zab")        # mapping: symbol name -> DataFrame
    zab.write("copy.zab", z)         # the same content again
    zab.symbols("model.zab")         # name, type, dim, count, text

See docs/python.md for the tour and the rules.
"""

import collections.abc
import ctypes
import os
import re
import sys
import time

import numpy as np
import pandas as pd

from ._lib import lib, short, unshort

__all__ = [
    "read", "write", "symbols", "ZabData", "ZabError",
    "UNDEF", "NA", "EPS", "is_undef", "is_na", "is_eps",
]

# Special values as read (raw=False) and as written. UNDEF and NA are NaNs
# with their own payload bits (np.isnan is true for both; is_undef / is_na
# tell them apart); EPS is the smallest positive double.
_UNDEF_BITS = np.uint64(0x7FF8000000000001)
_NA_BITS = np.uint64(0x7FF8000000000002)
UNDEF = float(np.array([_UNDEF_BITS], dtype=np.uint64).view(np.float64)[0])
NA = float(np.array([_NA_BITS], dtype=np.uint64).view(np.float64)[0])
EPS = 5e-324
# The reserved doubles the library stores special values as.
_RAW = {"UNDEF": 1e300, "NA": 2e300, "+INF": 3e300, "-INF": 4e300, "EPS": 5e300}
_SPECIAL_TEXT = dict(_RAW, INF=3e300, MINF=4e300)

TYPES = {"set": 0, "parameter": 1, "variable": 2, "equation": 3, "alias": 4}
_TYPE_NAMES = {v: k for k, v in TYPES.items()}
_FIVE = ["level", "marginal", "lower", "upper", "scale"]
_MAXDIM = 20
_PIECE = 1 << 20  # records per bulk call when writing
PROGRESS_AFTER = 2.0  # seconds of writing before progress shows on a terminal


class ZabError(Exception):
    """A ZAB file could not be read or written; .code is the library's error number (0: none)."""

    def __init__(self, message, code=0):
        super().__init__(message)
        self.code = code


def _bits(x):
    return np.array([x], dtype=np.float64).view(np.uint64)[0]


def is_undef(x):
    """Whether x (a number or an array) is the UNDEF marker."""
    return np.asarray(x, dtype=np.float64).view(np.uint64) == _UNDEF_BITS


def is_na(x):
    """Whether x (a number or an array) is the NA marker."""
    return np.asarray(x, dtype=np.float64).view(np.uint64) == _NA_BITS


def is_eps(x):
    """Whether x (a number or an array) is the EPS marker."""
    return np.asarray(x, dtype=np.float64) == EPS


def _type_name(code):
    return _TYPE_NAMES.get(code, code)


def _type_code(t, where):
    if isinstance(t, (int, np.integer)) and not isinstance(t, bool) and t >= 0:
        return int(t)
    if isinstance(t, str) and t in TYPES:
        return TYPES[t]
    raise ZabError("%s: type %r is not one of %s or an integer >= 0" % (where, t, ", ".join(TYPES)))


def _value_columns(code):
    if code == 0:
        return ["text"]
    if code in (2, 3):
        return list(_FIVE)
    return ["value"]


class _Handle:
    """One library object; freed (and an unfinished file dropped) on exit."""

    def __init__(self):
        self.h = ctypes.c_void_p()
        lib.XCreate(ctypes.byref(self.h))
        if not self.h:
            raise MemoryError("zab: the ZAB library could not create an object")

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        lib.XFree(ctypes.byref(self.h))

    def error(self, where):
        code = lib.C__zabGetLastError(self.h)
        msg = ctypes.create_string_buffer(256)
        lib.D__zabErrorStr(self.h, code, msg)
        return ZabError("%s: %s" % (where, unshort(msg.raw)), code)

    def call(self, where, name, *args):
        if not getattr(lib, name)(self.h, *args):
            raise self.error(where)


def _ptr(a):
    return a.ctypes.data_as(ctypes.c_void_p)


def _int():
    return ctypes.c_int(0)


# ---- reading --------------------------------------------------------------


def _string_table(z, fn, count, where):
    """All labels (or element texts) numbered 1..count, as a list of str."""
    out = []
    buf = ctypes.create_string_buffer(1 << 20)
    lengths = np.zeros(1 << 16, dtype=np.int32)
    got = _int()
    nr = 1
    while nr <= count:
        want = min(len(lengths), count - nr + 1)
        z.call(where, fn, nr, want, buf, len(buf), _ptr(lengths), ctypes.byref(got))
        if got.value == 0:
            break
        raw = buf.raw
        at = 0
        for n in lengths[: got.value].tolist():
            out.append(raw[at : at + n].decode("utf-8", "surrogateescape"))
            at += n
        nr += got.value
    return out


def _symbol_infos(z, path):
    count, nlabels = _int(), _int()
    z.call(path, "C__zabSystemInfo", ctypes.byref(count), ctypes.byref(nlabels))
    infos = []
    name = ctypes.create_string_buffer(256)
    text = ctypes.create_string_buffer(256)
    dim, typ, recs, user, alias = _int(), _int(), _int(), _int(), _int()
    for nr in range(1, count.value + 1):
        z.call(path, "D__zabSymbolInfo", nr, name, ctypes.byref(dim), ctypes.byref(typ))
        z.call(path, "D__zabSymbolInfoX", nr, ctypes.byref(recs), ctypes.byref(user), text)
        z.call(path, "C__zabAliasOf", nr, ctypes.byref(alias))
        infos.append(
            dict(nr=nr, name=unshort(name.raw), type=typ.value, dim=dim.value,
                 count=recs.value, userinfo=user.value, text=unshort(text.raw),
                 alias_of=alias.value)
        )
    return infos, nlabels.value


def symbols(path):
    """The file's symbols without their records: a DataFrame with the columns
    name, type, dim, count and text, in file order."""
    path = os.fspath(path)
    with _Handle() as z:
        err = _int()
        if not lib.D__zabOpenRead(z.h, short(path), ctypes.byref(err)):
            raise z.error(path)
        infos, _ = _symbol_infos(z, path)
    return pd.DataFrame(
        {
            "name": [i["name"] for i in infos],
            "type": [_type_name(i["type"]) for i in infos],
            "dim": [i["dim"] for i in infos],
            "count": [i["count"] for i in infos],
            "text": [i["text"] for i in infos],
        },
        columns=["name", "type", "dim", "count", "text"],
    )


def _from_raw(v):
    """Special values of the library (1e300 .. 5e300) to the markers, in place."""
    big = v >= 1e300
    if big.any():
        at = np.flatnonzero(big)
        w = v[at]
        w[w == 1e300] = UNDEF
        w[w == 2e300] = NA
        w[w == 3e300] = np.inf
        w[w == 4e300] = -np.inf
        w[w == 5e300] = EPS
        v[at] = w
    return v


def _to_raw(v):
    """The markers (and inf, -inf) to the library's special values, in a copy."""
    v = np.array(v, dtype=np.float64, copy=True)
    nan = np.isnan(v)
    if nan.any():
        at = np.flatnonzero(nan)
        b = v[at].view(np.uint64)
        w = v[at]
        w[b == _UNDEF_BITS] = 1e300
        w[b == _NA_BITS] = 2e300
        v[at] = w
    v[v == np.inf] = 3e300
    v[v == -np.inf] = 4e300
    v[v == EPS] = 5e300
    return v


def _categorical(nrs, labels):
    """Label numbers (1-based) to a Categorical of the labels used, in label order."""
    used = np.bincount(nrs, minlength=len(labels) + 1) > 0
    used[0] = False
    cat_nrs = np.flatnonzero(used)
    remap = np.zeros(len(labels) + 1, dtype=np.int32)
    remap[cat_nrs] = np.arange(len(cat_nrs), dtype=np.int32)
    return pd.Categorical.from_codes(remap[nrs], categories=pd.Index(labels[cat_nrs - 1], dtype=object))


def _read_symbol(z, path, info, labels, texts, raw):
    where = "%s: symbol %s" % (path, info["name"])
    count = _int()
    z.call(where, "C__zabDataReadRawStart", info["nr"], ctypes.byref(count))
    n = count.value
    data_type = 0 if info["alias_of"] else info["type"]
    nv = 5 if data_type in (2, 3) else 1
    dim = info["dim"]
    keys = np.empty((dim, n), dtype=np.int32)
    values = np.empty((nv, n), dtype=np.float64)
    got = _int()
    z.call(where, "C__zabDataReadRawBulk", n, 1, n, _ptr(keys), _ptr(values), nv, ctypes.byref(got))
    if got.value != n:
        raise ZabError("%s: %d records read of %d" % (where, got.value, n))
    lib.C__zabDataReadDone(z.h)
    cols = {}
    for i in range(dim):
        cols["dim%d" % (i + 1)] = _categorical(keys[i], labels)
    if data_type == 0:
        cols["text"] = texts[values[0].astype(np.int64)]
    else:
        names = _FIVE if nv == 5 else ["value"]
        for j, c in enumerate(names):
            cols[c] = values[j] if raw else _from_raw(values[j])
    df = pd.DataFrame(cols, copy=False)
    df.attrs.update(
        type=_type_name(info["type"]), text=info["text"], userinfo=info["userinfo"],
        alias_of=None, dim=dim,
    )
    return df


class ZabData(collections.abc.MutableMapping):
    """Symbols by name (in file order) with the file's labels and element
    texts (lists in number order), which zab.write registers first so that a
    copy numbers them as the source does."""

    def __init__(self, frames=None, labels=(), texts=()):
        self._frames = dict(frames or {})
        self.labels = list(labels)
        self.texts = list(texts)

    def __getitem__(self, name):
        return self._frames[name]

    def __setitem__(self, name, frame):
        self._frames[name] = frame

    def __delitem__(self, name):
        del self._frames[name]

    def __iter__(self):
        return iter(self._frames)

    def __len__(self):
        return len(self._frames)

    def __repr__(self):
        return "<ZabData: %d symbols, %d labels>" % (len(self), len(self.labels))


def read(path, symbols=None, raw=False):
    """Reads a ZAB file into a ZabData mapping of DataFrames.

    symbols: names to read (all when None; case is ignored). raw=True keeps
    the stored numbers of special values (1e300 UNDEF .. 5e300 EPS)."""
    path = os.fspath(path)
    with _Handle() as z:
        err = _int()
        if not lib.D__zabOpenRead(z.h, short(path), ctypes.byref(err)):
            raise z.error(path)
        infos, nlabels = _symbol_infos(z, path)
        labels = _string_table(z, "D__zabUMUelGetBulk", nlabels, path)
        texts = _string_table(z, "D__zabGetElemTextBulk", 2**31 - 2, path)
        label_arr = np.array(labels, dtype=object)
        text_arr = np.array([""] + texts, dtype=object)
        wanted = None
        if symbols is not None:
            wanted = {s.lower() for s in ([symbols] if isinstance(symbols, str) else symbols)}
            missing = wanted - {i["name"].lower() for i in infos}
            if missing:
                raise ZabError("%s: no symbol %s" % (path, ", ".join(sorted(missing))))
        out = ZabData(labels=labels, texts=texts)
        for info in infos:
            if wanted is not None and info["name"].lower() not in wanted:
                continue
            df = _read_symbol(z, path, info, label_arr, text_arr, raw)
            if info["alias_of"]:
                df.attrs["alias_of"] = infos[info["alias_of"] - 1]["name"]
            out[info["name"]] = df
    return out


# ---- writing --------------------------------------------------------------


class _Progress:
    def __init__(self, path, total):
        self.path, self.total, self.done = path, total, 0
        self.start = time.monotonic()
        self.shown = False

    def add(self, n):
        self.done += n
        if not self.total or time.monotonic() - self.start < PROGRESS_AFTER:
            return
        err = sys.stderr
        if err is None or not err.isatty():
            return
        err.write("\rwriting %s: %3d%% (%d of %d records)"
                  % (self.path, 100 * self.done // self.total, self.done, self.total))
        err.flush()
        self.shown = True

    def end(self):
        if self.shown:
            sys.stderr.write("\n")
            sys.stderr.flush()


def _encode_list(strings):
    enc = [s.encode("utf-8", "surrogateescape") for s in strings]
    data = np.frombuffer(b"".join(enc) or b"\0", dtype=np.uint8)
    lengths = np.array([len(b) for b in enc], dtype=np.int32)
    return enc, data, lengths


class _Writer:
    def __init__(self, z, path):
        self.z, self.path = z, path
        self.known = {}  # ASCII-folded label bytes -> number

    def register_labels(self, labels, where):
        """Registers labels in order; returns their numbers."""
        enc, data, lengths = _encode_list(labels)
        nrs = np.zeros(len(enc), dtype=np.int32)
        done = _int()
        if not lib.D__zabUELRegisterBulk(self.z.h, len(enc), _ptr(data), _ptr(lengths), _ptr(nrs),
                                         ctypes.byref(done)):
            e = self.z.error(where)
            raise ZabError("%s (label %r)" % (e, labels[done.value]), e.code)
        for b, nr in zip(enc, nrs.tolist()):
            self.known[b.lower()] = nr
        return nrs

    def add_texts(self, texts, where):
        enc, data, lengths = _encode_list(texts)
        nrs = np.zeros(len(enc), dtype=np.int32)
        done = _int()
        if not lib.D__zabAddSetTextBulk(self.z.h, len(enc), _ptr(data), _ptr(lengths), _ptr(nrs),
                                        ctypes.byref(done)):
            raise self.z.error(where)
        return nrs


def _where(path, name, row=None, column=None):
    s = "%s: symbol %s" % (path, name)
    if row is not None:
        s += ", row %d" % row
    if column is not None:
        s += ", column %r" % (column,)
    return s


def _label_column(col, where_col):
    """(codes, category strings) of an index column; codes -1 for a missing label."""
    if isinstance(col.dtype, pd.CategoricalDtype):
        codes = np.asarray(col.cat.codes)
        cats = col.cat.categories
    elif col.dtype == object or pd.api.types.is_string_dtype(col.dtype) or \
            pd.api.types.is_integer_dtype(col.dtype):
        codes, cats = pd.factorize(col, sort=False)
    else:
        raise ZabError("%s: index columns hold labels (strings), not %s" % (where_col, col.dtype))
    cats = list(cats)
    for i, c in enumerate(cats):
        if isinstance(c, (int, np.integer)) and not isinstance(c, bool):
            cats[i] = str(int(c))
        elif not isinstance(c, str):
            row = int(np.flatnonzero(codes == i)[0]) if (codes == i).any() else 0
            raise ZabError("%s: label %r is not a string" % (where_col.replace(", column", ", row %d, column" % row, 1), c))
    return np.asarray(codes), cats


def _frame_of(name, obj, where):
    """(DataFrame, attrs) of whatever zab.write accepts for one symbol."""
    if isinstance(obj, pd.DataFrame):
        return obj, dict(obj.attrs)
    if isinstance(obj, pd.Series):
        return obj.rename("value").reset_index(), {}
    if isinstance(obj, dict) and ("records" in obj or obj.get("type") == "alias" or "of" in obj):
        attrs = {k: obj[k] for k in ("type", "text", "userinfo", "dim") if k in obj}
        if "of" in obj:
            attrs["alias_of"] = obj["of"]
            attrs.setdefault("type", "alias")
        code = _type_code(attrs.get("type", "parameter"), where)
        if code == 4:
            return pd.DataFrame(), attrs
        dim = obj.get("dim")
        rows = []
        for i, r in enumerate(obj.get("records", [])):
            keys = list(r.get("keys", []))
            if dim is not None and len(keys) != dim:
                raise ZabError("%s, row %d: %d keys, the symbol has dimension %d"
                               % (where, i, len(keys), dim))
            row = {"dim%d" % (j + 1): k for j, k in enumerate(keys)}
            extra = set(r) - {"keys"} - set(_value_columns(code))
            if extra:
                raise ZabError("%s, row %d: unknown member %s" % (where, i, sorted(extra)[0]))
            if code == 0:
                row["text"] = r.get("text", "")
            elif code in (2, 3):
                defaults = dict(level=0.0, marginal=0.0, lower=0.0, upper="+INF", scale=1.0)
                for c in _FIVE:
                    row[c] = _special(r.get(c, defaults[c]), where, i, c)
            else:
                row["value"] = _special(r.get("value", 0.0), where, i, "value")
            rows.append(row)
        if dim is None:
            dim = len(rows[0]) - len(_value_columns(code)) if rows else 0
        cols = ["dim%d" % (j + 1) for j in range(dim)] + _value_columns(code)
        df = pd.DataFrame(rows, columns=cols)
        for c in _value_columns(code):
            if code != 0:
                df[c] = df[c].astype(np.float64)
        attrs["dim"] = dim
        return df, attrs
    if isinstance(obj, dict):  # {key or key tuple: value}: a parameter
        keys = [k if isinstance(k, tuple) else (k,) for k in obj]
        dim = len(keys[0]) if keys else 0
        df = pd.DataFrame(keys, columns=["dim%d" % (j + 1) for j in range(dim)])
        df["value"] = np.array([_special(v, where, i, "value") for i, v in enumerate(obj.values())],
                               dtype=np.float64)
        return df, {"type": "parameter", "dim": dim}
    if isinstance(obj, (list, tuple)):  # labels or label tuples: a set
        keys = [k if isinstance(k, tuple) else (k,) for k in obj]
        dim = len(keys[0]) if keys else 1
        return pd.DataFrame(keys, columns=["dim%d" % (j + 1) for j in range(dim)]), \
            {"type": "set", "dim": dim}
    if isinstance(obj, (int, float, np.number)) and not isinstance(obj, bool):
        return pd.DataFrame({"value": [float(obj)]}), {"type": "parameter", "dim": 0}
    raise ZabError("%s: cannot write a %s" % (where, type(obj).__name__))


def _special(v, where, row, column):
    if isinstance(v, str):
        if v in _SPECIAL_TEXT:
            return {"UNDEF": UNDEF, "NA": NA, "EPS": EPS}.get(
                v, np.inf if _SPECIAL_TEXT[v] == 3e300 else -np.inf)
        if v in ("NaN", "Infinity", "-Infinity"):
            return float(v.replace("Infinity", "inf"))
        raise ZabError("%s, row %d, column %r: %r is not a number or special value"
                       % (where, row, column, v))
    try:
        return float(v)
    except (TypeError, ValueError):
        raise ZabError("%s, row %d, column %r: %r is not a number" % (where, row, column, v)) \
            from None


def _values(df, columns, where, raw):
    out = []
    for c in columns:
        col = df[c]
        try:
            v = np.asarray(col, dtype=np.float64)
        except (TypeError, ValueError):
            v = np.empty(len(col), dtype=np.float64)
            for i, x in enumerate(col.tolist()):
                v[i] = _special(x, where, i, c)
        out.append(v if raw else _to_raw(v))
    return out


def _write_symbol(w, name, obj, progress, raw):
    path, z = w.path, w.z
    where = _where(path, name)
    if not isinstance(name, str) or not name:
        raise ZabError("%s: a symbol name must be a non-empty string" % where)
    df, attrs = _frame_of(name, obj, where)
    code = _type_code(attrs.get("type", _guess_type(df)), where)
    text = attrs.get("text") or ""
    userinfo = int(attrs.get("userinfo") or 0)
    for what, s in (("name", name), ("explanatory text", text)):
        if len(s.encode("utf-8", "surrogateescape")) > 255:
            raise ZabError("%s: %s longer than 255 bytes" % (where, what))
    if code == 4:
        target = attrs.get("alias_of")
        if not target:
            raise ZabError("%s: an alias needs the name of its set (attrs['alias_of'])" % where)
        z.call(where, "D__zabAddAliasX", short(target), short(name), short(text), userinfo)
        return
    value_cols = _value_columns(code)
    index_cols = [c for c in df.columns if c not in value_cols]
    if len(index_cols) > _MAXDIM:
        raise ZabError("%s: %d index columns, at most %d" % (where, len(index_cols), _MAXDIM))
    if "dim" in attrs and attrs["dim"] is not None and int(attrs["dim"]) != len(index_cols):
        raise ZabError("%s: %d index columns (%s) but dimension %d; the value columns of a %s "
                       "are %s" % (where, len(index_cols), ", ".join(map(str, index_cols)),
                                   attrs["dim"], _type_name(code), ", ".join(value_cols)))
    if code == 1 or code >= 5:
        if "value" not in df.columns:
            raise ZabError("%s: no column 'value'" % where)
    n = len(df)
    dim = len(index_cols)
    if dim == 0 and n > 1:
        raise ZabError("%s, row 1: a scalar holds one record only" % where)
    # Labels: register the new ones in order of first appearance (rows in
    # order, columns left to right), then map codes to label numbers.
    cols = []
    for c in index_cols:
        wc = _where(path, name, column=c)
        codes, cats = _label_column(df[c], wc)
        if (codes < 0).any():
            row = int(np.flatnonzero(codes < 0)[0])
            raise ZabError("%s: label missing" % _where(path, name, row, c))
        cols.append((c, codes, cats))
    _register_symbol_labels(w, name, cols, n)
    keys = np.empty((dim, n), dtype=np.int32)
    for i, (c, codes, cats) in enumerate(cols):
        lut = np.array([w.known.get(s.encode("utf-8", "surrogateescape").lower(), 0) for s in cats],
                       dtype=np.int32)
        keys[i] = lut[codes] if len(lut) else 0
    if code == 0:
        if "text" in df.columns:
            tcol = df["text"]
            tcodes, tuniq = pd.factorize(tcol.where(tcol.notna(), ""), sort=False)
            tuniq = list(tuniq)
            for i, t in enumerate(tuniq):
                if not isinstance(t, str):
                    row = int(np.flatnonzero(tcodes == i)[0])
                    raise ZabError("%s: element text %r is not a string"
                                   % (_where(path, name, row, "text"), t))
                if len(t.encode("utf-8", "surrogateescape")) > 255:
                    row = int(np.flatnonzero(tcodes == i)[0])
                    raise ZabError("%s: element text longer than 255 bytes"
                                   % _where(path, name, row, "text"))
            nrs = w.add_texts(tuniq, where) if tuniq else np.zeros(0, np.int32)
            vals = [nrs.astype(np.float64)[tcodes] if n else np.zeros(0)]
        else:
            vals = [np.zeros(n)]
    else:
        present = [c for c in value_cols if c in df.columns]
        if code in (2, 3):
            defaults = {"level": 0.0, "marginal": 0.0, "lower": 0.0, "upper": 3e300, "scale": 1.0}
            given = dict(zip(present, _values(df, present, where, raw)))
            vals = [given.get(c, np.full(n, defaults[c])) for c in _FIVE]
        else:
            vals = _values(df, ["value"], where, raw)
    values = np.ascontiguousarray(np.vstack(vals)) if vals else np.zeros((0, n))
    nv = values.shape[0]
    z.call(where, "D__zabDataWriteRawStart", short(name), short(text), dim, code, userinfo)
    done = _int()
    for at in range(0, n, _PIECE):
        c = min(_PIECE, n - at)
        kp = keys[:, at:].ctypes.data if dim else None
        vp = values[:, at:].ctypes.data
        if not lib.C__zabDataWriteRawBulk(z.h, c, 1, n, kp, vp, nv, ctypes.byref(done)):
            e = z.error(where)
            raise ZabError("%s: %s" % (_where(path, name, at + done.value), _detail(e)), e.code)
        progress.add(c)
    if not lib.C__zabDataWriteDone(z.h):
        e = z.error(where)
        m = re.search(r"records (\d+) and (\d+) have the same key \((.*)\)$", str(e))
        if m:
            raise ZabError("%s, rows %d and %d: the same key (%s)"
                           % (where, int(m.group(1)) - 1, int(m.group(2)) - 1, m.group(3)), e.code)
        raise e


def _detail(e):
    # the library's text after "symbol NAME, record N: "
    s = str(e)
    m = re.search(r"record \d+: (.*)$", s)
    return m.group(1) if m else s


def _register_symbol_labels(w, name, cols, n):
    new = False
    for c, codes, cats in cols:
        for s in cats:
            b = s.encode("utf-8", "surrogateescape")
            if len(b) == 0 or len(b) > 255:
                i = cats.index(s)
                hits = np.flatnonzero(codes == i)
                if len(hits):
                    raise ZabError("%s: label %r %s" % (
                        _where(w.path, name, int(hits[0]), c), s[:40],
                        "is empty" if not b else "is longer than 255 bytes"))
            if b.lower() not in w.known:
                new = True
    if not new:
        return
    # first row of each (column, code), then all in row order, columns left to right
    order_keys, names = [], []
    dim = len(cols)
    for j, (c, codes, cats) in enumerate(cols):
        first = pd.Series(codes).drop_duplicates()
        order_keys.append(first.index.to_numpy(dtype=np.int64) * dim + j)
        names.extend(cats[k] for k in first.to_numpy().tolist())
    order = np.argsort(np.concatenate(order_keys), kind="stable") if order_keys else []
    fresh = [names[i] for i in order]
    fresh = [s for s in fresh if s.encode("utf-8", "surrogateescape").lower() not in w.known]
    if fresh:
        w.register_labels(fresh, _where(w.path, name))


def _guess_type(df):
    cols = set(df.columns)
    if "value" in cols:
        return "parameter"
    if cols & set(_FIVE):
        return "variable"
    return "set"


def write(path, symbols, raw=False, producer="zab for Python"):
    """Writes a ZAB file from a mapping of symbol name to DataFrame (or to a
    dict, a list or a number; see docs/python.md). Nothing reaches `path`
    unless the whole file is written. raw=True writes values as they are
    (no marker conversion)."""
    path = os.fspath(path)
    items = list(symbols.items())
    total = sum(len(o) if isinstance(o, (pd.DataFrame, pd.Series)) else 0 for _, o in items)
    progress = _Progress(path, total)
    try:
        with _Handle() as z:
            err = _int()
            if not lib.D__zabOpenWrite(z.h, short(path), short(producer), ctypes.byref(err)):
                raise z.error(path)
            w = _Writer(z, path)
            labels = getattr(symbols, "labels", None)
            if labels:
                w.register_labels(list(labels), path)
            texts = getattr(symbols, "texts", None)
            if texts:
                w.add_texts(list(texts), path)
            for name, obj in items:
                _write_symbol(w, name, obj, progress, raw)
            if not lib.C__zabClose(z.h):
                raise z.error(path)
    finally:
        progress.end()
