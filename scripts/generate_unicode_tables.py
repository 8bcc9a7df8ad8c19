#!/usr/bin/env python3
"""Writes src/unicode/unicode_data.cpp, the constant tables of the Unicode functions, from the
Unicode Character Database (Debian's unicode-data package, /usr/share/unicode).

  compositions                 every BMP code point whose full canonical decomposition (form D) is
                               longer than one UTF-16 unit: composed, 2 to 4 units, zero padding
  compositionSearch...         the decomposition's binary search as a tree, node by node
  compositionPair...           the rows grouped by their first two decomposition units, each group
                               in table order, so that the composer meets candidates in the same
                               order as a scan of the whole table, found through a hash table
  compositionRowBlocks/Index    the row of each composed code point outside the Hangul syllables,
                               found in two steps (its block of 64 units, then the unit)
  accentReplacements           the entries of the accent table that differ from their index

The output depends only on the data files; running the script again gives the same bytes.
Usage: generate_unicode_tables.py [--ucd DIR] [--output FILE | --check FILE]
"""

import argparse
import os
import re
import sys

UNICODE_VERSION = "15.0.0"  # Debian bookworm's unicode-data; 14.0.0 gives the same tables
SCRIPT = "scripts/generate_unicode_tables.py"

# What the table must look like; a database that gives anything else is refused.
EXPECTED_ROWS = 12197
EXPECTED_LENGTHS = {2: 1168, 3: 10993, 4: 36}
EXPECTED_ACCENT_CHANGES = 844

HANGUL_FIRST, HANGUL_COUNT = 0xAC00, 11172
JAMO_L, JAMO_V, JAMO_T = 0x1100, 0x1161, 0x11A7
V_COUNT, T_COUNT = 21, 28

# Code points whose accent-table entry is changed (inclusive ranges).
ACCENT_RANGES = [
    (0x00A0, 0x00A0), (0x00C0, 0x00C5), (0x00C7, 0x00D6), (0x00D8, 0x00E5), (0x00E7, 0x00F6),
    (0x00F8, 0x010F), (0x0112, 0x0125), (0x0128, 0x0130), (0x0134, 0x0137), (0x0139, 0x013E),
    (0x0141, 0x0148), (0x014C, 0x0151), (0x0154, 0x0165), (0x0168, 0x017E), (0x01A0, 0x01A1),
    (0x01AF, 0x01B0), (0x01CD, 0x01DC), (0x01DE, 0x01E1), (0x01E6, 0x01ED), (0x01F0, 0x01F0),
    (0x01F4, 0x01F5), (0x01F8, 0x01FB), (0x0200, 0x021B), (0x021E, 0x021F), (0x0226, 0x0233),
    (0x037E, 0x037E), (0x0386, 0x0386), (0x0388, 0x038A), (0x038C, 0x038C), (0x038E, 0x0390),
    (0x03AA, 0x03B0), (0x03CA, 0x03CE), (0x1E00, 0x1E99), (0x1E9E, 0x1E9E), (0x1EA0, 0x1EF9),
    (0x1F00, 0x1F15), (0x1F18, 0x1F1D), (0x1F20, 0x1F45), (0x1F48, 0x1F4D), (0x1F50, 0x1F57),
    (0x1F59, 0x1F59), (0x1F5B, 0x1F5B), (0x1F5D, 0x1F5D), (0x1F5F, 0x1F7D), (0x1F80, 0x1FB4),
    (0x1FB6, 0x1FBC), (0x1FBE, 0x1FBE), (0x1FC2, 0x1FC4), (0x1FC6, 0x1FCC), (0x1FD0, 0x1FD3),
    (0x1FD6, 0x1FDB), (0x1FE0, 0x1FEC), (0x1FEF, 0x1FEF), (0x1FF2, 0x1FF4), (0x1FF6, 0x1FFC),
    (0x2013, 0x2014), (0x2018, 0x2019), (0x2022, 0x2022), (0x2126, 0x2126), (0x212A, 0x212B),
    (0x2260, 0x2260), (0x226E, 0x226F), (0xFF01, 0xFF5E),
]

# Characters of the ranges whose entry is their compatibility decomposition's first code point.
ACCENT_COMPATIBILITY = [0x00A0] + list(range(0xFF01, 0xFF5F))

# Characters of the ranges without a decomposition, mapped by hand.
ACCENT_BY_HAND = {
    0x00D0: "D", 0x00F0: "d",  # eth
    0x00D8: "O", 0x00F8: "o",  # o with stroke
    0x00DE: "P", 0x00FE: "p",  # thorn
    0x00DF: "s", 0x1E9E: "S",  # sharp s
    0x0141: "L", 0x0142: "l",  # l with stroke
    0x2013: "-", 0x2014: "-",  # en and em dash
    0x2018: "'", 0x2019: "'",  # single quotation marks
    0x2022: "*",               # bullet
}


def fail(message):
    sys.exit(f"{SCRIPT}: {message}")


def read_version(ucd):
    with open(os.path.join(ucd, "ReadMe.txt"), encoding="utf-8") as f:
        found = re.search(r"Version (\d+\.\d+\.\d+) of the Unicode Standard", f.read())
    if not found:
        fail(f"no Unicode version in {ucd}/ReadMe.txt")
    return found.group(1)


def read_decompositions(ucd):
    """Code point -> (tag or None, [code points]) for every character with a mapping."""
    mappings = {}
    with open(os.path.join(ucd, "UnicodeData.txt"), encoding="utf-8") as f:
        for line in f:
            fields = line.rstrip("\n").split(";")
            if len(fields) < 6 or not fields[5]:
                continue
            words = fields[5].split()
            tag = words.pop(0) if words[0].startswith("<") else None
            mappings[int(fields[0], 16)] = (tag, [int(w, 16) for w in words])
    return mappings


def full_canonical(cp, mappings):
    if HANGUL_FIRST <= cp < HANGUL_FIRST + HANGUL_COUNT:
        index = cp - HANGUL_FIRST
        jamo = [JAMO_L + index // (V_COUNT * T_COUNT), JAMO_V + index % (V_COUNT * T_COUNT) // T_COUNT]
        if index % T_COUNT:
            jamo.append(JAMO_T + index % T_COUNT)
        return jamo
    tag, parts = mappings.get(cp, ("<none>", [cp]))
    if tag is not None:  # no mapping, or a compatibility one
        return [cp]
    return [unit for part in parts for unit in full_canonical(part, mappings)]


def utf16(code_points):
    units = []
    for cp in code_points:
        if cp >= 0x10000:
            units += [0xD800 + ((cp - 0x10000) >> 10), 0xDC00 + (cp & 0x3FF)]
        else:
            units.append(cp)
    return units


def composition_rows(mappings):
    rows = []
    for cp in range(0x10000):
        if 0xD800 <= cp <= 0xDFFF:
            continue
        units = utf16(full_canonical(cp, mappings))
        if len(units) > 1:
            rows.append((cp, units))
    lengths = {n: sum(1 for _, units in rows if len(units) == n) for n in EXPECTED_LENGTHS}
    if len(rows) != EXPECTED_ROWS or lengths != EXPECTED_LENGTHS:
        fail(f"the database gives {len(rows)} rows of lengths {lengths}, not the expected table")
    if rows[0] != (0x00C0, [0x41, 0x300]) or rows[-1] != (0xFB4E, [0x5E4, 0x5BF]):
        fail("unexpected first or last row")
    return rows


def pair_groups(rows):
    """(first << 16) | second -> the rows of that group, in table order."""
    groups = {}
    for index, (_, units) in enumerate(rows):
        groups.setdefault((units[0] << 16) | units[1], []).append(index)
    return groups


# The decomposition's binary search (rows 0 to 12,196, middle (low + high) / 2, a hit ends it,
# low passing high ends it) as a tree stored breadth first: node n's children are 2n + 1 (the
# lower half) and 2n + 2. A node where the search has already ended copies its parent, so that
# every path is SEARCH_DEPTH nodes long and a hit on a copy names the parent's row.
SEARCH_DEPTH = 14


def search_tree(rows):
    size = (1 << SEARCH_DEPTH) - 1
    values, tree_rows = [0] * size, [0] * size
    pending = [(0, 0, len(rows) - 1, 0, 0)]  # node, low, high, parent's value and row
    while pending:
        node, low, high, value, row = pending.pop()
        if node >= size:
            continue
        if low < high and node >= (1 << (SEARCH_DEPTH - 1)) - 1:
            fail("the search is deeper than SEARCH_DEPTH")
        if low <= high:
            row = (low + high) // 2
            value = rows[row][0]
            pending += [(2 * node + 1, low, row - 1, value, row), (2 * node + 2, row + 1, high, value, row)]
        else:
            pending += [(2 * node + 1, low, high, value, row), (2 * node + 2, low, high, value, row)]
        values[node], tree_rows[node] = value, row
    return values, tree_rows


# The hash table of the groups, as FindFirstDecompositionAt in src/unicode/tables.cpp reads it:
# a group sits at the top PAIR_SLOT_BITS bits of (key * PAIR_SLOT_MULTIPLIER) mod 2^32, or, when
# that slot is taken, in one of the next slots (wrapping). A slot holds (key << 32) | (first
# member << 16) | end of its members in compositionPairRows; 0 is a free slot (no key is 0).
PAIR_SLOT_BITS = 12
PAIR_SLOT_MULTIPLIER = 0x9E3779B1
MAX_PAIR_PROBES = 8


def pair_index(groups):
    size = 1 << PAIR_SLOT_BITS
    slots, members = [0] * size, []
    for key in sorted(groups):
        slot = ((key * PAIR_SLOT_MULTIPLIER) & 0xFFFFFFFF) >> (32 - PAIR_SLOT_BITS)
        for _ in range(MAX_PAIR_PROBES):
            if slots[slot] == 0:
                break
            slot = (slot + 1) % size
        else:
            fail("the group hash collides too often")
        slots[slot] = (key << 32) | (len(members) << 16) | (len(members) + len(groups[key]))
        members += groups[key]
    return slots, members


# The rows of the composed code points outside the Hangul syllables (whose decomposition is
# worked out), as a two-step index: compositionRowBlocks gives each 64-unit block of the BMP its
# block of compositionRowIndex, which holds row + 1 for each unit (0: no row). Block 0 is all
# zeros, the block of every 64 units without a row.
ROW_INDEX_BLOCK = 64
EXPECTED_ROW_INDEX_BLOCKS = 55


def row_index(rows):
    row_of = {cp: index for index, (cp, _) in enumerate(rows) if not HANGUL_FIRST <= cp < HANGUL_FIRST + HANGUL_COUNT}
    blocks, index = [0] * (0x10000 // ROW_INDEX_BLOCK), [[0] * ROW_INDEX_BLOCK]
    for block in range(len(blocks)):
        entries = [row_of.get(block * ROW_INDEX_BLOCK + k, -1) + 1 for k in range(ROW_INDEX_BLOCK)]
        if any(entries):
            blocks[block] = len(index)
            index.append(entries)
    if len(index) != EXPECTED_ROW_INDEX_BLOCKS:
        fail(f"the row index needs {len(index)} blocks, not {EXPECTED_ROW_INDEX_BLOCKS}")
    return blocks, index


def accent_replacements(mappings):
    replacements = []
    for first, last in ACCENT_RANGES:
        for cp in range(first, last + 1):
            if cp in ACCENT_BY_HAND:
                to = ord(ACCENT_BY_HAND[cp])
            elif cp in ACCENT_COMPATIBILITY:
                tag, parts = mappings[cp]
                if tag is None:
                    fail(f"U+{cp:04X} has no compatibility decomposition")
                to = parts[0]
            else:
                to = full_canonical(cp, mappings)[0]
            if to == cp:
                fail(f"U+{cp:04X} lies in the accent ranges but keeps its identity")
            replacements.append((cp, to))
    if len(replacements) != EXPECTED_ACCENT_CHANGES:
        fail(f"{len(replacements)} accent replacements, not {EXPECTED_ACCENT_CHANGES}")
    return replacements


def hex4(value):
    return f"0x{value:04X}"


def render(rows, groups, replacements):
    out = [f"// Generated by {SCRIPT} from the Unicode Character Database {UNICODE_VERSION}. Do not edit.",
           '#include "unicode/tables.h"', "", "namespace zyl {", ""]

    def array(comment, declaration, items, per_line):
        out.append(f"// {comment}")
        out.append(f"const {declaration} = {{")
        for i in range(0, len(items), per_line):
            out.append("    " + " ".join(item + "," for item in items[i:i + per_line]))
        out.extend(["};", ""])

    values, tree_rows = search_tree(rows)
    slots, members = pair_index(groups)
    array("Composed character, its full canonical decomposition in UTF-16 (2 to 4 units), zero padding.",
          "uint16_t compositions[][6]",
          ["{" + ", ".join(hex4(v) for v in [cp] + units + [0] * (5 - len(units))) + "}" for cp, units in rows], 1)
    array("The binary search over the composed column, node by node in the order it visits them.",
          "uint16_t compositionSearchValues[]", [hex4(v) for v in values], 12)
    array("The row each node of that tree compares with.",
          "uint16_t compositionSearchRows[]", [str(r) for r in tree_rows], 12)
    out += ["// No decomposition has a smaller second unit: a text unit below it never continues one.",
            f"const uint16_t compositionSmallestSecondUnit = {hex4(min(k & 0xFFFF for k in groups))};", ""]
    array("The groups by hash of their first two units: (key << 32) | (first member << 16) | end.",
          "uint64_t compositionPairSlots[]", [f"0x{v:016X}" for v in slots], 4)
    array("Row numbers of compositions, group by group, in table order within each group.",
          "uint16_t compositionPairRows[]", [str(m) for m in members], 12)
    blocks, index = row_index(rows)
    array("For each 64-unit block of the BMP, its block of compositionRowIndex (0: no row in it).",
          "uint8_t compositionRowBlocks[]", [str(b) for b in blocks], 16)
    array("Row + 1 of each unit of a block (0: no row); no Hangul syllable is here.",
          "uint16_t compositionRowIndex[][64]", ["{" + ", ".join(str(e) for e in entries) + "}" for entries in index], 1)
    array("The accent table's entries that differ from their index: {unit, replacement}.",
          "uint16_t accentReplacements[][2]", ["{" + hex4(a) + ", " + hex4(b) + "}" for a, b in replacements], 6)
    out.append("}  // namespace zyl")
    return "\n".join(out) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--ucd", default="/usr/share/unicode", help="the database's folder")
    target = parser.add_mutually_exclusive_group()
    target.add_argument("--output", default="src/unicode/unicode_data.cpp", help="file to write")
    target.add_argument("--check", metavar="FILE", help="compare with FILE instead of writing")
    args = parser.parse_args()

    version = read_version(args.ucd)
    if version != UNICODE_VERSION:
        fail(f"{args.ucd} holds Unicode {version}; this script is pinned to {UNICODE_VERSION}")
    mappings = read_decompositions(args.ucd)
    rows = composition_rows(mappings)
    groups = pair_groups(rows)
    text = render(rows, groups, accent_replacements(mappings))

    if args.check:
        with open(args.check, encoding="utf-8") as f:
            if f.read() != text:
                fail(f"{args.check} differs from what the database gives; run the script again")
        print(f"{args.check} is up to date")
        return
    with open(args.output, "w", encoding="utf-8") as f:
        f.write(text)
    print(f"wrote {args.output}: {len(rows)} rows in {len(groups)} groups")


if __name__ == "__main__":
    main()
