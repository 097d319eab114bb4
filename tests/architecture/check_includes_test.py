#!/usr/bin/env python3
"""The include check finds the faults it is there for, and accepts a sound tree."""

import tempfile
import unittest
from pathlib import Path

from check_includes import Checker

SOUND = {
    "include/qdvideomixer/object.h": "#pragma once\n#include <cstdint>\n",
    "include/qdvideomixer/media_graph.h": "#pragma once\n#include <qdvideomixer/object.h>\n",
    "src/platform/event.h": "#pragma once\n#include <qdvideomixer/object.h>\n",
    "src/platform/posix/event.cpp": '#include "platform/event.h"\n#include <pthread.h>\n',
    "src/pixels/primitives/copy.h": "#pragma once\n",
    "src/pixels/img_copy.h": '#pragma once\n#include "pixels/primitives/copy.h"\n',
    "src/mixer/mixer.h": '#pragma once\n#include "pixels/img_copy.h"\n',
    "src/graph/filter.h": '#pragma once\n#include "mixer/mixer.h"\n'
                          "#include <qdvideomixer/media_graph.h>\n",
    "src/hosts/gstreamer/element.cpp": '#include <gst/gst.h>\n#include "graph/filter.h"\n',
}


def faults_of(changes):
    with tempfile.TemporaryDirectory() as folder:
        for name, text in {**SOUND, **changes}.items():
            path = Path(folder) / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        return Checker(folder).run()


class IncludeCheck(unittest.TestCase):
    def assert_one_fault(self, changes, part):
        faults = faults_of(changes)
        self.assertEqual(len(faults), 1, faults)
        self.assertIn(part, faults[0])

    def test_sound_tree_has_no_fault(self):
        self.assertEqual(faults_of({}), [])

    def test_include_from_above(self):
        self.assert_one_fault(
            {"src/pixels/key.cpp": '#include "mixer/mixer.h"\n'}, "src/pixels/key.cpp:1")
        self.assert_one_fault(
            {"src/pixels/primitives/fill.cpp": '\n#include "pixels/img_copy.h"\n'},
            "src/pixels/primitives/fill.cpp:2")

    def test_public_header_that_looks_inside(self):
        self.assert_one_fault(
            {"include/qdvideomixer/mixer.h": '#pragma once\n#include "mixer/mixer.h"\n'},
            "public header includes")

    def test_circles(self):
        self.assert_one_fault(
            {"src/mixer/a.h": '#pragma once\n#include "mixer/b.h"\n',
             "src/mixer/b.h": '#pragma once\n#include "mixer/a.h"\n'}, "circle")

    def test_graph_interfaces_below_the_graph(self):
        self.assert_one_fault(
            {"src/mixer/clock.cpp": "#include <qdvideomixer/media_graph.h>\n"},
            "sees the graph's interfaces")

    def test_platform_leaks(self):
        self.assert_one_fault({"src/mixer/a.cpp": "#include <unistd.h>\n"}, "<unistd.h>")
        self.assert_one_fault({"src/mixer/a.cpp": "#ifdef __linux__\n#endif\n"}, "condition")
        self.assert_one_fault({"src/mixer/a.cpp": "#include <gst/gst.h>\n"}, "<gst/gst.h>")
        self.assert_one_fault(
            {"src/platform/posix/pipe.h": "#pragma once\n",
             "src/mixer/a.cpp": '#include "platform/posix/pipe.h"\n'}, "one platform")

    def test_files_that_belong_nowhere(self):
        self.assert_one_fault({"src/extra/a.cpp": "\n"}, "no room")
        self.assert_one_fault({"src/mixer/a.cpp": '#include "a.h"\n'}, "not a file")
        self.assert_one_fault({"src/mixer/a.h": "\n"}, "#pragma once")


if __name__ == "__main__":
    unittest.main()
