// Unicode composition: the composition and accent tables, and canonical composition,
// decomposition and accent removal. What the method table and the entry sequence use.
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

// InitTable: fills the accent table: every entry its own unit, then the base letters and ASCII
// stand-ins (U+00E9 gives "e", U+2014 "-", U+FF21 "A"). Called once at load, inside a built
// application only; until then every entry is 0.
void InitTable();
// Puts the accent table back to its state before load (all zero). Only tests call it.
void ClearAccentTableForTests();

// All three read the text as UTF-16, work unit by unit (a supplementary character is two
// surrogate units), never reorder combining marks, and return a new string built from UTF-16
// (UTF-8 on current hosts). Nil or empty text gives nil.

// "ConvertUnicodeToCharacterDecompositionZYL(text as string) as string": every character that has
// a canonical decomposition of more than one unit is replaced by its full decomposition; everything
// else is copied. Singleton decompositions (U+212A, U+2126) are not applied.
// U+1E08 gives "C" U+0327 U+0301; U+AC01 gives U+1100 U+1161 U+11A8.
REALstringStruct* ConvertUnicodeToCharacterDecompositionZYL(REALstringStruct* text);

// "ConvertUnicodeToCharacterCompositionZYL(text as string) as string": at each position the first
// row of the composition table (in order of composed code point) whose whole decomposition stands
// there is replaced by its composed character; the first match wins, not the longest:
// "A" U+0323 U+0302 gives U+1EA0 U+0302, and U+1100 U+1161 U+11A8 gives U+AC00 U+11A8.
// Raises "OutOfMemoryException" ("Failed to allocate lookup table.") and gives nil when the
// flag table cannot be made.
REALstringStruct* ConvertUnicodeToCharacterCompositionZYL(REALstringStruct* text);

// "RemoveAccentsZYL(text as string, IgnoreCase as boolean = false) as string": drops combining
// marks U+0300-U+036F, spells fractions and the ae ligatures in ASCII ("1/2", "AE"), and writes
// every other unit through the accent table (so outside a built application, where the table is
// all zero, such units become U+0000). IgnoreCase capitalises "a" to "z" and nothing else.
// "Ærøskøbing ½" gives "AEroskobing 1/2".
REALstringStruct* RemoveAccentsZYL(REALstringStruct* text, int8_t IgnoreCase);

}  // namespace zyl
