import os
import re

from conftest import ROOT, tool


def test_python_md_examples_run(tmp_path, monkeypatch):
    text = open(os.path.join(ROOT, "docs", "python.md")).read()
    blocks = re.findall(r"```python\n(.*?)```", text, re.S)
    assert len(blocks) >= 4
    monkeypatch.chdir(tmp_path)
    monkeypatch.setenv("PATH", os.path.dirname(tool("zab2veda")) + os.pathsep + os.environ["PATH"])
    scope = {}
    for i, code in enumerate(blocks):
        exec(compile(code, "docs/python.md block %d" % (i + 1), "exec"), scope)
    assert os.path.exists("tour.vd") and os.path.exists("tour.zab")
