#!/usr/bin/env python3
"""Plants one include after the other in a small tree and sees whether layers.py notices exactly the bad ones."""
import pathlib
import tempfile
import unittest

import layers

TREE = (
    "platform/Tyr/Assert.h", "platform/Keel/HashMix.h", "platform/Keel/SlabImpl.h", "platform/Policy/PosixRegex.h",
    "BgpCommon/BgpHashMixImpl.h", "VelBgp/VelBgpSerialize.h", "VelBgp/VelBgpCommunity.h", "VelBgp/Rows.def",
    "VelBgp/VelBgpCommunityList.h", "VelBgp/VelBgpCommunityListImpl.h", "VelBgp/Parse/ExtComm.h",
    "VelBgp/Parse/ExtCommColor.h", "VelBgp/Parse/ExtCommOpaque.h", "VelBgp/Parse/ExtCommSharedImpl.h",
    "show/ExtCommCache.h", "tools/velbgp/Console.h", "tests/support/Death.h",
)  # fmt: skip

# File, what it includes (a source's first include makes it part of a unit), the word in the complaint or None.
CASES = (
    ("platform/Keel/New.cpp", '"Tyr/Assert.h"', None),
    ("platform/Keel/New.cpp", '"Keel/SlabImpl.h"', None),
    ("platform/Keel/New.cpp", '"Policy/PosixRegex.h"', "may not include Policy"),
    ("platform/Tyr/New.h", '"Keel/HashMix.h"', "may not include Keel"),
    ("platform/Keel/New.h", '"Keel/SlabImpl.h"', "our own sources"),
    ("platform/Keel/New.h", '"../Tyr/Assert.h"', "'..'"),
    ("platform/Keel/New.h", "<Tyr/Assert.h>", "in quotes"),
    ("platform/Keel/New.h", '"HashMix.h"', "no header of ours"),
    ("platform/Keel/New.h", "<boost/config.hpp>", None),
    ("platform/Keel/New.h", "<lmdb.h>", "not open"),
    ("platform/Store/New.h", "<lmdb.h>", None),
    ("VelBgp/VelBgpSerialize.cpp", "<gtest/gtest.h>", "not open"),
    ("BgpCommon/New.cpp", '"VelBgp/VelBgpSerialize.h"', "may not include VelBgp"),
    ("VelBgp/VelBgpSerialize.cpp", '"BgpCommon/BgpHashMixImpl.h"', None),
    ("VelBgp/VelBgpSerialize.cpp", '"show/ExtCommCache.h"', "may not include show"),
    ("VelBgp/VelBgpSerialize.cpp", '"VelBgp/Rows.def"', None),
    ("VelBgp/VelBgpSerialize.cpp", '"VelBgp/VelBgpCommunity.h"', "looks upward"),
    ("VelBgp/RouteTargetPrefix.h", '"VelBgp/VelBgpSerialize.h"', None),
    ("VelBgp/RouteTargetPrefix.h", '"VelBgp/VelBgpCommunity.h"', "looks upward"),
    ("VelBgp/RouteTargetPrefix.cpp", '"VelBgp/VelBgpCommunityList.h"', None),
    ("VelBgp/VelBgpCommunity.cpp", '"VelBgp/Parse/ExtComm.h"', None),
    ("VelBgp/NewUnit.h", '"VelBgp/VelBgpSerialize.h"', "no place in the order"),
    ("VelBgp/Split.cpp", '"VelBgp/VelBgpCommunityList.h"\n#include "VelBgp/Parse/ExtComm.h"', None),
    ("VelBgp/Split.cpp", '"VelBgp/VelBgpCommunity.h"\n#include "VelBgp/Parse/ExtComm.h"', "looks upward"),
    ("VelBgp/Parse/ExtCommNew.h", '"VelBgp/Parse/ExtComm.h"', None),
    ("VelBgp/Parse/ExtCommRule.cpp", '"VelBgp/Parse/ExtComm.h"', None),
    ("VelBgp/Parse/ExtCommRule.cpp", '"VelBgp/Parse/ExtCommColor.h"', "looks upward"),
    ("VelBgp/Parse/ExtCommNew.h", '"VelBgp/Parse/ExtCommColor.h"', "side by side"),
    ("VelBgp/Parse/ExtCommColor.cpp", '"VelBgp/Parse/ExtCommOpaque.h"', "side by side"),
    ("VelBgp/Parse/ExtCommColor.cpp", '"VelBgp/Parse/ExtCommSharedImpl.h"', None),
    ("VelBgp/Parse/ExtCommColor.cpp", '"VelBgp/VelBgpCommunityListImpl.h"', "looks upward"),
    ("VelBgp/Parse/ExtCommContainer.cpp", '"VelBgp/Parse/ExtCommColor.h"', None),
    ("show/New.cpp", '"VelBgp/VelBgpCommunity.h"', None),
    ("show/New.cpp", '"Policy/PosixRegex.h"', "may not include Policy"),
    ("tools/velbgp/New.cpp", '"tools/velbgp/Console.h"', None),
    ("tools/velbgp/New.cpp", '"VelBgp/VelBgpCommunityListImpl.h"', "our own sources"),
    ("bench/lists/New.cpp", '"BgpCommon/BgpHashMixImpl.h"', "our own sources"),
    ("examples/new.cpp", '"tools/velbgp/Console.h"', "may not include tools"),
    ("tests/Keel/New.cpp", '"support/Death.h"\n#include "Keel/SlabImpl.h"', None),
    ("tests/Keel/New.cpp", '"Keel/HashMix.cpp"', "not to be included"),
)  # fmt: skip


class LayersTest(unittest.TestCase):
    def complaints(self, file, includes):
        with tempfile.TemporaryDirectory() as root:
            for name in TREE + ("platform/Keel/HashMix.cpp",):
                self.write(root, name, "#pragma once\n")
            self.write(root, file, f"// opens\n  #  include {includes}\n")
            return layers.Checker(root).run()

    @staticmethod
    def write(root, name, text):
        path = pathlib.Path(root, name)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def test_planted_includes(self):
        for file, includes, word in CASES:
            with self.subTest(file=file, includes=includes):
                got = self.complaints(file, includes)
                self.assertEqual(len(got), 0 if word is None else 1, got)
                if word is not None:
                    self.assertIn(word, got[0])
                    self.assertTrue(got[0].startswith(file + ":"), got)


if __name__ == "__main__":
    unittest.main()
