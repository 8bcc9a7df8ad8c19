// StyledText and RTF: the getter and setter of the StyledText extension "RTFDataZYL". What the
// method table registers.
#pragma once

#include <cstdint>

#include "plugin/host_types.h"

namespace zyl {

// RTFRead: the getter of "RTFDataZYL(SkipParagraphs as boolean = false) as string". The runs of
// the text object as one compact RTF document, UTF-8 tagged: a font table and a colour table
// numbered in order of first use (no leading automatic colour), then each run's changed
// attributes and its text ("\par " for a line break, "\uN " above 127). Paragraph alignments are
// written as "\ql", "\qc", "\qr" unless skipParagraphs. Nil for a nil object, one without runs or
// paragraphs, or when reading the runs fails. One bold red 12-point "Arial" run "H", CR, "i"
// gives "{\rtf1\ansi\ansicpg1252{\fonttbl{\f0\fnil Arial;}}{\colortbl\red255\green0\blue0;}
// \uc0 \b\f0\cf0\fs24 H\par i}" (without the line break).
REALstringStruct* RTFRead(REALobjectStruct* styledText, int8_t skipParagraphs);

// RTFWrite: the setter. Empties the text object and rebuilds it from the RTF in one pass: styles
// (bold, italic, underline, font, colour, size), code pages, "\u" characters and paragraph
// alignments of the few words it knows; a group opening with any other word is dropped. Text
// that is not RTF ("{\rtf" and at least 7 bytes) leaves the object empty. Never raises: a failure
// part-way keeps the runs added so far. skipParagraphs has no effect here.
void RTFWrite(REALobjectStruct* styledText, int8_t skipParagraphs, REALstringStruct* rtf);

}  // namespace zyl
