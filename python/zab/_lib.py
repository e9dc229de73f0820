"""Finding and binding libzabcclib64 through ctypes."""

import ctypes
import ctypes.util
import os
import sys

_NAME = "libzabcclib64.dylib" if sys.platform == "darwin" else "libzabcclib64.so"

_c_int_p = ctypes.POINTER(ctypes.c_int)
_c_double_p = ctypes.POINTER(ctypes.c_double)
_h = ctypes.c_void_p
_s = ctypes.c_char_p  # short strings, built by short()
_i = ctypes.c_int
_ip = _c_int_p
_dp = _c_double_p
_vp = ctypes.c_void_p

# name: (argument types after the handle)
_SIGNATURES = {
    "D__zabOpenRead": (_s, _ip),
    "D__zabOpenWrite": (_s, _s, _ip),
    "D__zabErrorStr": (_i, ctypes.c_char_p),
    "C__zabClose": (),
    "C__zabGetLastError": (),
    "C__zabSystemInfo": (_ip, _ip),
    "D__zabSymbolInfo": (_i, ctypes.c_char_p, _ip, _ip),
    "D__zabSymbolInfoX": (_i, _ip, _ip, ctypes.c_char_p),
    "C__zabAliasOf": (_i, _ip),
    "C__zabDataReadRawStart": (_i, _ip),
    "C__zabDataReadRawBulk": (_i, _i, _i, _vp, _vp, _i, _ip),
    "C__zabDataReadDone": (),
    "D__zabUMUelGetBulk": (_i, _i, _vp, _i, _vp, _ip),
    "D__zabGetElemTextBulk": (_i, _i, _vp, _i, _vp, _ip),
    "D__zabUELRegisterBulk": (_i, _vp, _vp, _vp, _ip),
    "D__zabAddSetTextBulk": (_i, _vp, _vp, _vp, _ip),
    "D__zabDataWriteRawStart": (_s, _s, _i, _i, _i),
    "C__zabDataWriteRawBulk": (_i, _i, _i, _vp, _vp, _i, _ip),
    "C__zabDataWriteDone": (),
    "D__zabAddAliasX": (_s, _s, _s, _i),
}


def _here_build_dirs():
    # python/zab/_lib.py -> the checkout is two levels above python/
    root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    return [os.path.join(root, "build", d, _NAME) for d in ("lib", "bin")]


def _load():
    tried = []
    env = os.environ.get("ZAB_LIBRARY")
    if env:
        try:
            return ctypes.CDLL(env)
        except OSError as e:
            raise ImportError(
                "zab: cannot load the ZAB library named by ZAB_LIBRARY (%s): %s" % (env, e)
            ) from None
    # The library installed with this package (an installed package has
    # _installed.py), then the system loader's search (LD_LIBRARY_PATH, the
    # loader cache), then the usual install directories.
    candidates = []
    try:
        from . import _installed

        here = os.path.dirname(os.path.abspath(__file__))
        candidates.append(os.path.normpath(os.path.join(here, _installed.LIBRARY_DIR, _NAME)))
    except ImportError:
        pass
    candidates.append(_NAME)
    found = ctypes.util.find_library("zabcclib64")
    if found:
        candidates.append(found)
    candidates += [os.path.join(d, _NAME) for d in ("/usr/local/lib", "/usr/lib")]
    candidates += _here_build_dirs()
    for c in candidates:
        if os.sep in c and not os.path.exists(c):
            tried.append(c)
            continue
        try:
            return ctypes.CDLL(c)
        except OSError:
            tried.append(c)
    raise ImportError(
        "zab: cannot find the ZAB library %s. Set ZAB_LIBRARY to its path, install it "
        "(cmake --install build), or build it in this checkout (bash scripts/test.sh). "
        "Tried: %s" % (_NAME, ", ".join(tried))
    )


lib = _load()
for _name, _args in _SIGNATURES.items():
    try:
        _f = getattr(lib, _name)
    except AttributeError:
        raise ImportError(
            "zab: the ZAB library %s lacks %s (an older build?)" % (lib._name, _name)
        ) from None
    _f.argtypes = (_h,) + _args
    _f.restype = ctypes.c_int
lib.XCreate.argtypes = (ctypes.POINTER(_h),)
lib.XCreate.restype = None
lib.XFree.argtypes = (ctypes.POINTER(_h),)
lib.XFree.restype = None


def short(text):
    """A short string (length byte, then up to 255 bytes) from str or bytes."""
    b = text.encode("utf-8", "surrogateescape") if isinstance(text, str) else bytes(text)
    if len(b) > 255:
        raise ValueError("longer than 255 bytes")
    return bytes([len(b)]) + b + bytes(255 - len(b))


def unshort(buf):
    raw = bytes(buf)
    return raw[1 : 1 + raw[0]].decode("utf-8", "surrogateescape")
