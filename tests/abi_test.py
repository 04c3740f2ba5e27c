"""The binary interface of both libraries against its record in abi/: programs built with it go on working.

Only for the optimised build of gcc, which is the one that is shipped.
"""

import difflib
import os
import pathlib
import tempfile
import unittest
import xml.etree.ElementTree as ET

from project import SOURCE, output_of, run

RECORDS = SOURCE / "abi"
RENEW = "RENEW_ABI" in os.environ
HOW_TO_RENEW = "programs built earlier may break; if that is meant, record it: RENEW_ABI=1 ./test -- -R abi_test"
# Whose insides are part of the interface; of other types, size and name are.
OWN_NAMESPACES = {"scdb"}


def interface_of(library):
    """What abidw finds in a library, without what programs cannot reach and what depends on where it was built."""
    options = ("no-corpus-path", "no-comp-dir-path", "no-show-locs", "no-elf-needed", "no-architecture")
    chosen = ("exported-interfaces-only", "drop-undefined-syms")
    root = ET.fromstring(output_of("abidw", *(f"--{o}" for o in options + chosen), "--type-id-style", "hash", library))
    keep_interface(root)
    first, *others = root.findall("abi-instr")
    first.set("path", "interface")
    for source in others:
        first.extend(source)
        root.remove(source)
    while drop_unused(root):
        pass
    ET.indent(root)
    return ET.tostring(root, encoding="unicode") + "\n"


def keep_interface(node, foreign=False):
    for child in list(node):
        if child.tag == "namespace-decl":
            keep_interface(child, foreign or child.get("name") not in OWN_NAMESPACES)
        elif child.tag == "class-decl" and foreign:
            child[:] = []
            child.text = None
        elif child.tag == "function-decl" and not ("elf-symbol-id" in child.attrib or "vtable-offset" in node.attrib):
            node.remove(child)
        else:
            keep_interface(child, foreign)


def drop_unused(root):
    """Takes away others' types that nothing refers to, and what is empty; whether there were any."""
    used = {node.get("type-id") for node in root.iter()}
    dropped = False
    for parent in list(root.iter()):
        if parent.get("name") in OWN_NAMESPACES or parent.tag == "array-type-def":
            continue
        for child in list(parent):
            unused = "id" in child.attrib and child.get("id") not in used
            if unused or child.tag in ("namespace-decl", "member-function", "member-type") and len(child) == 0:
                parent.remove(child)
                dropped = True
    return dropped


def layouts(record):
    """The types of a record, a line each.  abidiff does not compare those that are only in vectors and spans.

    abidw writes some types several times: how often depends on how sources are put together."""
    for node in ET.fromstring(record).iter("class-decl"):
        members = (f"{m[0].get('name')} {m.get('layout-offset-in-bits')}" for m in node.iter("data-member"))
        yield f"{node.get('name')}, {node.get('size-in-bits')} bits: {', '.join(members)}"


def differences(before, after):
    """What two records do not have in common, for people; empty where they promise the same."""
    with tempfile.TemporaryDirectory() as folder:
        paths = [pathlib.Path(folder) / name for name in ("before.abi", "after.abi")]
        for path, text in zip(paths, (before, after)):
            path.write_text(text)
        status, said = run("abidiff", "--harmless", *paths)
    if status != 0:
        return said or f"abidiff ends with status {status}"
    return "\n".join(difflib.unified_diff(sorted(set(layouts(before))), sorted(set(layouts(after))), n=0, lineterm=""))


class BinaryInterface(unittest.TestCase):
    def test_is_the_one_recorded(self):
        for name in ("SCDB_LIBRARY", "MACRO_LIBRARY"):
            library = pathlib.Path(os.environ[name])
            record = RECORDS / f"{library.name.split('.')[0]}.abi"
            interface = interface_of(library)
            if RENEW and differences(record.read_text(), interface):
                record.write_text(interface)
            with self.subTest(record=record.name):
                self.assertEqual(differences(record.read_text(), interface), "", HOW_TO_RENEW)

    def test_a_change_is_a_difference(self):
        record = (RECORDS / "libscdb.abi").read_text()
        for what, change in {
            "a reason's number": ('name="missing_chip" value="20"', 'name="missing_chip" value="21"'),
            "a further reason": ("</enum-decl>", '<enumerator name="further" value="99" /></enum-decl>'),
            "a member moved": ('layout-offset-in-bits="288"', 'layout-offset-in-bits="320"'),
            "a type longer": ('name="Part" size-in-bits="704"', 'name="Part" size-in-bits="768"'),
            "a virtual function moved": ('vtable-offset="2"', 'vtable-offset="3"'),
            "a parameter more": ('name="units" />', 'name="units" /><parameter type-id="38d0973d" />'),
            "a buffer longer": ('name="_SCANBUFFER1" size="8192"', 'name="_SCANBUFFER1" size="8196"'),
            "a function gone": ('elf-symbol name="lmcr_wait"', 'elf-symbol name="lmcr_want"'),
        }.items():
            with self.subTest(change=what):
                self.assertTrue(change[0] in record, "the record no longer has that")
                self.assertNotEqual(differences(record, record.replace(*change)), "")


if __name__ == "__main__":
    unittest.main()
