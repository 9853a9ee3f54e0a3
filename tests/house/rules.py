#!/usr/bin/env python3
"""Tests the checks of the tree: each rule must catch what it is there for, and nothing else."""

import sys
import unittest

import document_text
import documents
import functions
import layers
import messages
import operations
import style

GOOD = "// What it is.\n#pragma once\n\nint f();\n"


class Style(unittest.TestCase):
    def problems(self, text, name="gantry/A.h"):
        return list(style.file_problems(name, text))

    def caught(self, words, text, name="gantry/A.h"):
        problems = self.problems(text, name)
        self.assertEqual(len(problems), 1, problems)
        self.assertIn(words, problems[0])

    def test_good(self):
        self.assertEqual(self.problems(GOOD), [])

    def test_faults(self):
        self.caught("does not begin with a comment", "#pragma once\n")
        self.caught("no #pragma once", "// What it is.\n")
        self.caught("a tab", GOOD + "\tint a;\n")
        self.caught("blanks at the end", GOOD + "int a; \n")
        self.caught("101 columns", GOOD + "//" + "x" * 99 + "\n")
        self.caught("801 lines", GOOD + "\n" * 797)
        self.caught("no newline", GOOD + "int a;")
        self.caught("unfinished", GOOD + "// TO" + "DO: more\n")
        self.caught("unfinished", GOOD + "TEST( A, DISA" + "BLED_B ) {}\n")
        self.caught("one machine", GOOD + 'char const* p = "/ho' + 'me/someone";\n')
        self.caught("numbered chapter", GOOD + "// As Pa" + "rt 3.1 says.\n")

    def test_limits(self):
        self.assertEqual(self.problems(GOOD + "//" + "x" * 98 + "\n"), [])
        self.assertEqual(self.problems(GOOD + "\n" * 796), [])

    def test_documents_have_no_columns(self):
        self.assertEqual(self.problems("x" * 200 + "\n", "README.md"), [])
        self.caught("one machine", "see /ho" + "me/someone\n", "README.md")

    def test_words_inside_words_and_relative_paths(self):
        self.assertEqual(self.problems(GOOD + "int TO" + "DOs, a; // ../home/x, ${b}/home/x\n"), [])


class Functions(unittest.TestCase):
    def lengths(self, text):
        return [length for _, length, _ in functions.functions(text)]

    def test_counts_outermost_bodies(self):
        text = "namespace A {\nstruct B {\n   int f() const { return 1; }\n   int x = 0;\n};\n}\n"
        self.assertEqual(self.lengths(text), [1])
        self.assertEqual(self.lengths("void f() {\n  if (a) {\n    b();\n  }\n}\n"), [5])
        self.assertEqual(self.lengths("template <class T>\nT f(T t) {\n  return t;\n}\n"), [3])
        self.assertEqual(self.lengths("A::A() : b_{1}, c_(2) {\n\n}\n"), [3])
        self.assertEqual(self.lengths("A::A()\n   : c_(2), b_{1} {\n\n}\nint f() {}\n"), [3, 1])

    def test_braces_in_literals_and_comments(self):
        self.assertEqual(self.lengths('void f() {\n  a("{{", \'{\'); // {\n  /* { */\n}\n'), [4])
        self.assertEqual(self.lengths('void f() {\n  a(R"x({\n{)x");\n}\n'), [4])
        self.assertEqual(self.lengths("void f() {\n  int n = 1'000'000;\n}\nvoid g() {}\n"), [3, 1])

    def test_macros_are_left_out(self):
        self.assertEqual(self.lengths("#define F() \\\n  {\nvoid g() {\n}\n"), [2])


class Layers(unittest.TestCase):
    allowed = layers.declared()

    def problems(self, name, include):
        return list(layers.file_problems(name, f"// x\n{include}\n", self.allowed))

    def test_down_is_good(self):
        self.assertEqual(self.problems("gantry/mount/M.h", "#include <gantry/common/C.h>"), [])
        self.assertEqual(self.problems("gantry/mount/M.h", "#include <gantry/mount/N.h>"), [])
        self.assertEqual(self.problems("gantry/mount/M.h", "#include <gantry/runtime/E.h>"), [])
        self.assertEqual(self.problems("gantry/mount/M.h", "#include <vector>"), [])

    def test_up_and_sideways_are_caught(self):
        for name, include in [
            ("gantry/runtime/fen/A.h", "#include <gantry/runtime/nimet/B.h>"),
            ("gantry/runtime/nimet/A.h", "#  include <gantry/runtime/ringscribe/B.h>"),
            ("gantry/runtime/fen/sub/A.h", "#include <gantry/runtime/cairn/B.h>"),
            ("gantry/runtime/Export.h", "#include <gantry/runtime/fen/B.h>"),
            ("gantry/common/A.fen", 'import "gantry/mount/B.fen"'),
            ("gantry/service/A.cpp", "#include <gantry/initial/B.h>"),
            ("gantry/mount/A.cpp", "#include <gantry/Gantry.h>"),
            ("gantry/mount/A.cpp", "#include <tests/support/B.h>"),
            ("gantry/mount/A.cpp", '#include "B.h"'),
        ]:
            self.assertEqual(len(self.problems(name, include)), 1, (name, include))

    def test_fenc_stands_alone(self):
        text = "#include <fenc/Lexer.h>\n#include <gantry/runtime/fen/A.h>\n"
        self.assertEqual(len(list(layers.fenc_problems("fenc/A.cpp", text))), 1)


class Messages(unittest.TestCase):
    def found(self, code):
        return [(m.line, m.sink, m.level, m.text) for m in messages.messages("gantry/A.cpp", code)]

    def test_ring(self):
        code = 'RINGSCRIBE_TRACE(5, "doMountNow", " mounting ",\n   " port:", f(a, ","), " x");\n'
        self.assertEqual(self.found(code), [(1, "ring", 5, "doMountNow mounting port:* x")])

    def test_stream(self):
        code = '\nFEN_TRACE(trace(), 5,\n   "A::f" << ": " << g("b", c) << (d ? "yes" : "no"));\n'
        self.assertEqual(
            self.found(code),
            [(2, "trace()", 5, "A::f: *yes"), (2, "trace()", 5, "A::f: *no")],
        )

    def test_comments_and_macros_are_no_sites(self):
        self.assertEqual(self.found('/// FEN_TRACE(a, 5, "x");\n#define FEN_TRACE(a, b, c)\n'), [])


class Operations(unittest.TestCase):
    document = (
        "| 0 | `idle` |\n\n## Messages\n\n### One\n\n`gantry/A.cpp`.\n\n"
        "| Ring | Stream | Means | Do |\n|---|---|---|---|\n"
        "| 8: `a *`, `b` | 5: `c`; 8: `d`, `e` | it | |\n"
    )
    ring = {("ring", 8, "a *"), ("ring", 8, "b")}
    stream = {("stream", 5, "c"), ("stream", 8, "d"), ("stream", 8, "e")}
    said = {"gantry/A.cpp": ring | stream}

    def test_complete(self):
        self.assertEqual(list(operations.message_problems(self.document, self.said)), [])

    def caught(self, words, said):
        problems = list(operations.message_problems(self.document, said))
        self.assertEqual(len(problems), 1, problems)
        self.assertIn(words, problems[0])

    def test_faults(self):
        said = self.said["gantry/A.cpp"]
        new = ("stream", 5, "new")
        self.caught("`new` of the stream at level 5 is missing", {"gantry/A.cpp": said | {new}})
        self.caught("nobody says `b` at level 8 of the ring",
                    {"gantry/A.cpp": said - {("ring", 8, "b")}})
        self.caught("no chapter for the messages of gantry/B", {**self.said, "gantry/B.cpp": said})

    def test_states(self):
        code = 'enum State : u32 text "S(%d)" {\n // None = 7.\n idle = 0;\n busy = 1 "b";\n}'
        self.assertEqual(operations.enumerators(code, "State"), [("idle", "0"), ("busy", "1")])
        code = "enum class State { idle, busy };"
        self.assertEqual(operations.enumerators(code, "State"), [("idle", None), ("busy", None)])
        states = [("gantry/common/MountState.h", "MountState", True)]
        problems = list(operations.state_problems("| 4 | `mountStateMounted` |\n", states))
        self.assertEqual(len(problems), 5, problems)


class Documents(unittest.TestCase):
    def test_blocks(self):
        text = "```sh\na\nb\n```\n\n    00 1f\n\n    command\n\n```\nx\n```\n"
        self.assertEqual(
            list(document_text.blocks(text)),
            [(1, "sh", "a\nb"), (8, "indented", "    command"), (10, "", "x")],
        )

    def test_commands(self):
        text = "# Why.\na \\\n   --b &\n\ncat > f <<'END'\n# no comment\n\nx\nEND\nc && d # e\n"
        found = document_text.commands(text)
        self.assertEqual(
            found, ["a \\\n   --b &", "cat > f <<'END'\n# no comment\n\nx\nEND", "c && d # e"]
        )
        self.assertEqual(document_text.plain(found[0]), "a --b &")
        steps = document_text.steps(found[2])
        self.assertEqual([document_text.plain(each) for each in steps], ["c", "d"])

    def test_shown_lines(self):
        output = "a  1 (since 2026-11-22 00:49:15)\nb\n\nc 2026-11-22 00:49:15.123 d\n"
        for shown in ("a 1\nb\nc d", "a 1\n...\nc d", "...\nb\n...", "a 1\nb\n\nc d\n..."):
            self.assertTrue(document_text.shows(shown, output), shown)
        for shown in ("a 1\nc d", "a 1\nb", "b\nc d", "...\nb\na 1\n...", "a .\n..."):
            self.assertFalse(document_text.shows(shown, output), shown)

    def test_options(self):
        self.assertTrue(document_text.names("--once, or --retry COUNT", "--once"))
        self.assertTrue(document_text.names("--retry-interval 1 --retry=2", "--retry"))
        self.assertFalse(document_text.names("--retry-interval 1 --retry2", "--retry"))

    def test_hasty_commands(self):
        self.assertIsNone(document_text.hasty(["look", "host &", "host &"]))
        self.assertIsNone(document_text.hasty(["host &", "mount --retries 5", "look"]))
        self.assertEqual(document_text.hasty(["host &", "look # at it", "mount"]), "look")

    def test_what_goes_on(self):
        place = documents.Place()
        for status in (0, 0, 3):
            place.start(
                'python3 -c "import os, signal; signal.signal(15, lambda *_: os._exit(%d));'
                " print('serves', flush=True); signal.pause()\" &" % status
            )
        self.assertEqual(place.run("kill %1"), (0, ""))
        status, output = place.run("kill %3")
        self.assertEqual((status, output.partition(":")[0]), (1, "ends with status 3"))
        with self.assertRaises(documents.Wrong):
            place.run("kill %1")
        wrong = place.close()
        self.assertEqual([each.partition("' ends")[0] for each in wrong], ["no 'kill %2"])

    def test_elsewhere(self):
        self.assertIsNone(documents.elsewhere("gantry status"))
        self.assertIsNotNone(documents.elsewhere("scripts/test     # everything"))
        for command in ("cmake --preset none", "fuzz/run build/fuzz/fuzz/fuzz_no fuzz/corpus/no"):
            with self.assertRaises(documents.Wrong):
                documents.elsewhere(command)


if __name__ == "__main__":
    sys.exit(unittest.main())
