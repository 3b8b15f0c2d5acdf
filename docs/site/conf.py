"""What Sphinx is to make of the pages that stage.py has laid out (./docs.sh)."""
import pathlib
import re
import sys
import types

import numpy

ROOT = pathlib.Path(__file__).resolve().parents[2]

project = "KORInterface"
release = re.search(r"project\(KORInterface VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8"))[1]
extensions = ["myst_parser", "breathe", "sphinx.ext.autodoc", "sphinx.ext.napoleon", "sphinx_copybutton"]

# The names of headings are those that other readers of Markdown make, so that links work there as here.
myst_heading_anchors = 6

breathe_projects = {"KORInterface": str(ROOT / "build" / "docs" / "xml")}
breathe_default_project = "KORInterface"
breathe_domain_by_file_pattern = {"*/kor.h": "c"}

html_theme = "furo"
html_title = f"KORInterface {release}"
html_static_path = ["static"]
html_css_files = ["manual.css"]
html_copy_source = False
html_show_sphinx = False
html_show_copyright = False
# They are read from the pages, which a browser does not allow for files.
html_show_search_summary = False
copybutton_prompt_text = "$ "
copybutton_line_continuation_character = "\\"

default_role = "py:obj"
autodoc_member_order = "bysource"
autodoc_typehints = "signature"
napoleon_google_docstring = False


def stand_in():
    """The compiled module, as its stub describes it: the package is imported for its words alone."""
    module = types.ModuleType("korinterface._core")
    source = (ROOT / "python" / "korinterface" / "_core.pyi").read_text(encoding="utf-8")
    exec(compile(source, "_core.pyi", "exec"), module.__dict__)
    some = numpy.dtype([("field", "f4")])
    module.VERSION, module.RAW_DTYPE, module.INFO_DTYPE = release, some, some
    module.OUTCOMES, module.CHANNELS, module.RAW_COLUMNS, module.RESULT_COLUMNS = ("ok",), (), (), ()
    return module


sys.path.insert(0, str(ROOT / "python"))
sys.dont_write_bytecode = True
sys.modules["korinterface._core"] = stand_in()
