// The method tables handed to the host: the 72 global methods in the order the host lists them,
// the StyledText extension and the shared property "Debugging".
//
// Every function is reached through Guard<>, so nothing native escapes into the host.
#include "plugin/guard.h"
#include "plugin/log.h"
#include "plugin/registration.h"
#include "codecs/codecs.h"
#include "rtf/rtf.h"
#include "strings/strings.h"
#include "text/text.h"
#include "unicode/unicode.h"

#define ZYL_METHOD(fn) reinterpret_cast<void*>(&::zyl::Guard<&fn>::Call)

namespace zyl {

namespace {
constexpr REALmethodDefinition Row(const char* declaration, void* function) {
  return REALmethodDefinition{function, nullptr, declaration, 0x4, 0, 0, nullptr};
}
}  // namespace

REALmethodDefinition globalMethods[kGlobalMethodCount] = {
    Row("ReplaceLineEndingsZYL(Text as String, NewLine as String, yield as boolean = false) as String",
        ZYL_METHOD(ReplaceLineEndingsZYL)),  // 1
    Row("HasPrefixZYL(Text as String, Prefix as String) as boolean",
        ZYL_METHOD(HasPrefixZYL)),  // 2
    Row("HasPostfixZYL(Text as String, Prefix as String) as boolean",
        ZYL_METHOD(HasPostfixZYL)),  // 3
    Row("ContainsWholeWordZYL(Text as String, Word as String) as boolean",
        ZYL_METHOD(ContainsWholeWordZYL)),  // 4
    Row("GetStringsFromDataZYL(data as ptr, size as Integer, MinLength as Integer = 0) as string()",
        ZYL_METHOD(GetStringsZYLp)),  // 5
    Row("GetStringsFromDataZYL(data as MemoryBlock, MinLength as Integer = 0) as string()",
        ZYL_METHOD(GetStringsZYLm)),  // 6
    Row("GetStringsFromDataZYL(data as String, MinLength as Integer = 0) as string()",
        ZYL_METHOD(GetStringsZYLs)),  // 7
    Row("CheckUTF8ZYL(data as ptr, size as Integer, Placeholder as string) as string",
        ZYL_METHOD(CheckUTF8p)),  // 8
    Row("CheckUTF8ZYL(mem as MemoryBlock, Placeholder as string) as string",
        ZYL_METHOD(CheckUTF8m)),  // 9
    Row("CheckUTF8ZYL(data as string, Placeholder as string) as string",
        ZYL_METHOD(CheckUTF8s)),  // 10
    Row("EncodeEmailSubjectZYL(s as string) as string",
        ZYL_METHOD(EncodeEmailSubjectZYL)),  // 11
    Row("_yDecodeMemoryZYL(data as memoryblock) as memoryblock",
        ZYL_METHOD(yDecodeZYLm)),  // 12
    Row("_yDecodeStringZYL(data as string) as string",
        ZYL_METHOD(yDecodeZYLs)),  // 13
    Row("JaroWinklerDistanceZYL(a as string, b as string) as double",
        ZYL_METHOD(jaroWinklerDistanceZYL)),  // 14
    Row("LevenshteinDistanceZYL(a as string, b as string) as double",
        ZYL_METHOD(levenshteinDistanceZYL)),  // 15
    Row("ScientificStrZYL(d as double, digits as integer) as string",
        ZYL_METHOD(ScientificStrZYL)),  // 16
    Row("StrZYL(d as double) as string",
        ZYL_METHOD(StrZYL)),  // 17
    Row("RandomBytesStringZYL(Length as integer, ASCII as boolean=false) as string",
        ZYL_METHOD(RandomBytesStringZYL)),  // 18
    Row("CreateStringZYL(Length as integer, Content as String) as string",
        ZYL_METHOD(CreateStringZYL)),  // 19
    Row("StrCompBytesZYL(a as string, b as string) as integer",
        ZYL_METHOD(StrCompBytesZYL)),  // 20
    Row("StrCompCharactersZYL(a as string, b as string) as integer",
        ZYL_METHOD(StrCompCharsZYL)),  // 21
    Row("CountOccurancesZYL(s as string, find as string) as integer",
        ZYL_METHOD(CountOccurancesZYL)),  // 22
    Row("ClearStringContentZYL(s as String) as Boolean",
        ZYL_METHOD(ClearStringContentZYL)),  // 23
    Row("DetectUnicodeMarkersZYL(s as string) as integer",
        ZYL_METHOD(DetectUnicodeMarkers)),  // 24
    Row("GetUnicodeMarkersZYL(kind as integer) as string",
        ZYL_METHOD(GetUnicodeMarkers)),  // 25
    Row("StringIsHTMLreadyZYL(s as string) as boolean",
        ZYL_METHOD(StringIsHTMLready)),  // 26
    Row("StringIsXMLreadyZYL(s as string) as boolean",
        ZYL_METHOD(StringIsXMLready)),  // 27
    Row("StringANDZYL(a as string,b as string) as string",
        ZYL_METHOD(StringAND)),  // 28
    Row("StringORZYL(a as string,b as string) as string",
        ZYL_METHOD(StringOR)),  // 29
    Row("StringXORZYL(data as string, XorMask as string, MaskOffset as integer = 0) as string",
        ZYL_METHOD(StringXOR)),  // 30
    Row("StringXOR2ZYL(data as string, XorMask as string, MaskOffset as integer = 0) as string",
        ZYL_METHOD(StringXOR2)),  // 31
    Row("UnicodeStringZYL(s as string) as string",
        ZYL_METHOD(RBUnicodeString)),  // 32
    Row("NativeStringZYL(s as string) as string",
        ZYL_METHOD(RBNativeString)),  // 33
    Row("DecodingFromMySQLZYL(s as string) as string",
        ZYL_METHOD(DecodingFromMySQL)),  // 34
    Row("EncodingToHTMLZYL(s as string, options as integer = 0) as string",
        ZYL_METHOD(EncodingToHTML)),  // 35
    Row("DecodingFromHTMLZYL(s as string) as string",
        ZYL_METHOD(DecodingToHTML)),  // 36
    Row("EncodingToXMLZYL(s as string, options as integer = 0) as string",
        ZYL_METHOD(EncodingToXML)),  // 37
    Row("DecodingFromXMLZYL(s as string) as string",
        ZYL_METHOD(DecodingToHTML)),  // 38
    Row("EncodingToURLZYL(s as string) as string",
        ZYL_METHOD(EncodingToURL1)),  // 39
    Row("EncodingToURLZYL(s as string, options as integer) as string",
        ZYL_METHOD(EncodingToURL2)),  // 40
    Row("DecodingFromURLZYL(s as string) as string",
        ZYL_METHOD(DecodingToURL1)),  // 41
    Row("DecodingFromURLZYL(s as string, options as integer) as string",
        ZYL_METHOD(DecodingToURL2)),  // 42
    Row("EncodingToQuotedPrintableZYL(s as string, LineLen as integer = 72) as string",
        ZYL_METHOD(EncodingToQuotedPrintable2)),  // 43
    Row("DecodingFromQuotedPrintableZYL(s as string) as string",
        ZYL_METHOD(DecodingToQuotedPrintable)),  // 44
    Row("HexstringZYL(input as string, hexlen as integer, linelen as integer, linestart as string, lineend as string, spacer as string,filler as string) as string",
        ZYL_METHOD(Hexstring)),  // 45
    Row("EncodingToISO8859ZYL(s as string) as string",
        ZYL_METHOD(EncodingToISO8859)),  // 46
    Row("DecodingFromISO8859ZYL(s as string) as string",
        ZYL_METHOD(DecodingToISO8859)),  // 47
    Row("EncodingToCP1252ZYL(s as string) as string",
        ZYL_METHOD(EncodingToCP1252)),  // 48
    Row("DecodingFromCP1252ZYL(s as string) as string",
        ZYL_METHOD(DecodingToCP1252)),  // 49
    Row("EncodingToHexZYL(s as string) as string",
        ZYL_METHOD(EncodingToHex)),  // 50
    Row("DecodingFromHexZYL(s as string) as string",
        ZYL_METHOD(DecodingToHex)),  // 51
    Row("ReplaceNonPrintableCharactersZYL(s as string, replacevalue as integer=46) as string",
        ZYL_METHOD(ReplaceNonPrintableCharactersZYL)),  // 52
    Row("IsASCIIStringZYL(s as string) as boolean",
        ZYL_METHOD(IsASCIIString1)),  // 53
    Row("IsASCIIStringZYL(s as string, mode as integer) as boolean",
        ZYL_METHOD(IsASCIIString2)),  // 54
    Row("RemoveHTMLTagsZYL(AsciiTextWithTags as string) as string",
        ZYL_METHOD(RemoveHTMLTags)),  // 55
    Row("RemoveHTMLTagsWithZYL(AsciiTextWithTags as string, Replacement as string) as string",
        ZYL_METHOD(RemoveHTMLTagsWith)),  // 56
    Row("ConcatBinaryStringsZYL(a as string, b as string, c as string, d as string, e as string, f as string) as string",
        ZYL_METHOD(ConcatBinaryStringsZYL6)),  // 57
    Row("ConcatBinaryStringsZYL(a as string, b as string, c as string, d as string, e as string) as string",
        ZYL_METHOD(ConcatBinaryStringsZYL5)),  // 58
    Row("ConcatBinaryStringsZYL(a as string, b as string, c as string, d as string) as string",
        ZYL_METHOD(ConcatBinaryStringsZYL4)),  // 59
    Row("ConcatBinaryStringsZYL(a as string, b as string, c as string) as string",
        ZYL_METHOD(ConcatBinaryStringsZYL3)),  // 60
    Row("ConcatBinaryStringsZYL(a as string, b as string) as string",
        ZYL_METHOD(ConcatBinaryStringsZYL2)),  // 61
    Row("SQLReplaceBooleanZYL(SQL as string) as string",
        ZYL_METHOD(SQLReplaceBooleanZYL)),  // 62
    Row("InStrBytesZYL(target as string, find as string) as integer",
        ZYL_METHOD(InStrBytesZYL)),  // 63
    Row("InStrByteRangeZYL(target as string, StartValue as integer, EndValue as integer) as integer",
        ZYL_METHOD(InStrByteRange1ZYL)),  // 64
    Row("InStrByteRangeZYL(target as string, StartValue as integer, EndValue as integer, StartValue2 as integer, EndValue2 as integer) as integer",
        ZYL_METHOD(InStrByteRange2ZYL)),  // 65
    Row("InStrByteRangeZYL(target as string, StartValue as integer, EndValue as integer, StartValue2 as integer, EndValue2 as integer, StartValue3 as integer, EndValue3 as integer) as integer",
        ZYL_METHOD(InStrByteRange3ZYL)),  // 66
    Row("InStrByteRangeZYL(target as string, find as string, StartValue as integer, EndValue as integer) as integer",
        ZYL_METHOD(InStrByteRange1BZYL)),  // 67
    Row("InStrByteRangeZYL(target as string, find as string, StartValue as integer, EndValue as integer, StartValue2 as integer, EndValue2 as integer) as integer",
        ZYL_METHOD(InStrByteRange2BZYL)),  // 68
    Row("InStrByteRangeZYL(target as string, find as string, StartValue as integer, EndValue as integer, StartValue2 as integer, EndValue2 as integer, StartValue3 as integer, EndValue3 as integer) as integer",
        ZYL_METHOD(InStrByteRange3BZYL)),  // 69
    Row("ConvertUnicodeToCharacterCompositionZYL(text as string) as string",
        ZYL_METHOD(ConvertUnicodeToCharacterCompositionZYL)),  // 70
    Row("ConvertUnicodeToCharacterDecompositionZYL(text as string) as string",
        ZYL_METHOD(ConvertUnicodeToCharacterDecompositionZYL)),  // 71
    Row("RemoveAccentsZYL(text as string, IgnoreCase as boolean = false) as string",
        ZYL_METHOD(RemoveAccentsZYL)),  // 72
};

REALmethodDefinition StyledTextMethods[1] = {
    {ZYL_METHOD(RTFRead), ZYL_METHOD(RTFWrite),
     "RTFDataZYL(SkipParagraphs as boolean = false) as string", 0x308, 0, 0, nullptr},
};

REALclassDefinition StyledTextClass = [] {
  REALclassDefinition cls{};
  cls.version = 15;
  cls.name = "StyledText";
  cls.methods = StyledTextMethods;
  cls.methodCount = 1;
  cls.flags = 0x308;
  return cls;
}();

namespace {
REALattribute DebuggingHiddenAttributes[1] = {{"Hidden", ""}};
}

REALproperty DebuggingSharedProperties[1] = {
    {nullptr, "Debugging", "Boolean", 0x26, 0, reinterpret_cast<void*>(&getDebugging),
     reinterpret_cast<void*>(&setDebugging), {0, 0, 0, 0}, 1, DebuggingHiddenAttributes},
};

}  // namespace zyl
