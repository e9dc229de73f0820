import json
import os
import subprocess

import pytest

# Under a sanitizer build the library needs the sanitizer's runtime preloaded
# into this interpreter (the test registration sets LD_PRELOAD); the programs
# the tests start carry their own runtime and must not get a second one.
os.environ.pop("LD_PRELOAD", None)

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BIN = os.path.join(ROOT, "build", "bin")


def tool(name):
    path = os.environ.get(name.upper()) or os.path.join(BIN, name)
    if not os.path.exists(path):
        pytest.fail("%s not found at %s (build it, or set %s)" % (name, path, name.upper()))
    return path


@pytest.fixture
def zabtool():
    path = tool("zabtool")

    class Tool:
        def build(self, doc, out):
            src = str(out) + ".json"
            with open(src, "w") as f:
                f.write(doc if isinstance(doc, str) else json.dumps(doc))
            subprocess.run([path, "build", src, str(out)], check=True, capture_output=True)
            return str(out)

        def dump(self, zab_path):
            r = subprocess.run([path, "dump", str(zab_path)], check=True, capture_output=True)
            return r.stdout.decode()

    return Tool()
