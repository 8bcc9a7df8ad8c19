#include "call_cases.h"

#include <cstdio>
#include <stdexcept>

#include "invoke.h"
#include "output.h"

namespace hardening {

const std::vector<Case>& Cases() {
  static const std::vector<Case> cases = {
      {"InStrBytesZYL", {"hello world", "o w"}},
      {"InStrByteRangeZYL", {"abcXYZ", "88", "90"}},
      {"InStrByteRangeZYL", {"abcXYZ", "88", "90", "97", "98"}},
      {"InStrByteRangeZYL", {"abcXYZ", "88", "90", "97", "98", "48", "57"}},
      {"InStrByteRangeZYL", {"abcXYZ", "cX", "88", "90"}},
      {"InStrByteRangeZYL", {"abcXYZ", "cX", "88", "90", "97", "98"}},
      {"InStrByteRangeZYL", {"abcXYZ", "cX", "88", "90", "97", "98", "48", "57"}},
      {"HasPrefixZYL", {"prefix text", "prefix"}},
      {"HasPostfixZYL", {"text postfix", "postfix"}},
      {"ContainsWholeWordZYL", {"a whole word here", "word"}},
      {"CountOccurancesZYL", {"abababab", "ab"}},
      {"StrCompBytesZYL", {"abc", "abd"}},
      {"StrCompCharactersZYL", {"enc=latin1:caf\u00e9", "café"}},
      {"ConcatBinaryStringsZYL", {"a", "b"}},
      {"ConcatBinaryStringsZYL", {"a", "b", "c"}},
      {"ConcatBinaryStringsZYL", {"a", "b", "c", "d"}},
      {"ConcatBinaryStringsZYL", {"a", "b", "c", "d", "e"}},
      {"ConcatBinaryStringsZYL", {"a", "b", "c", "d", "e", "f"}},
      {"CreateStringZYL", {"1000", "ab"}},
      {"CreateStringZYL", {"2147483648", "ab"}, true},
      {"RandomBytesStringZYL", {"300", "true"}},
      {"StringANDZYL", {"hex:FF0FF0", "hex:0F"}},
      {"StringORZYL", {"hex:F00F", "hex:0F0F"}},
      {"StringXORZYL", {"some data to mask", "key", "1"}},
      {"StringXOR2ZYL", {"some data to mask", "key", "2"}},
      {"StringXORZYL", {"data", "key", "7"}, true},
      {"ReplaceNonPrintableCharactersZYL", {"hex:410042FF43", "63"}},
      {"GetStringsFromDataZYL", {"ptr:hex:0041424344450001020348656C6C6F00", "3"}},
      {"GetStringsFromDataZYL", {"mem:hex:0041424344450001020348656C6C6F00", "3"}},
      {"GetStringsFromDataZYL", {"str:hex:0041424344450001020348656C6C6F00", "3"}},
      {"ReplaceLineEndingsZYL", {"esc:a\\r\\nb\\rc\\nd", "esc:\\r\\n", "true"}},
      {"ReplaceLineEndingsZYL", {"enc=utf16:line\u00e9 one\nline two", "esc:\\n", "false"}},
      {"StrZYL", {"3.25"}},
      {"ScientificStrZYL", {"12345.678", "5"}},
      {"ClearStringContentZYL", {"secret"}},
      {"JaroWinklerDistanceZYL", {"martha", "marhta"}},
      {"LevenshteinDistanceZYL", {"kitten", "sitting"}},
      {"SQLReplaceBooleanZYL", {"SELECT * WHERE a = TRUE AND b = false"}},
      {"DecodingFromMySQLZYL", {"esc:a\\\\nb\\\\'c\\\\0"}},
      {"CheckUTF8ZYL", {"ptr:hex:41C328428080", "?"}},
      {"CheckUTF8ZYL", {"mem:hex:41C328428080", "?"}},
      {"CheckUTF8ZYL", {"str:hex:41C328428080", "enc=utf16:\u00bf"}},
      {"IsASCIIStringZYL", {"plain"}},
      {"IsASCIIStringZYL", {"esc:tab\\there", "1"}},
      {"EncodingToISO8859ZYL", {"caf\u00e9 \u20ac"}},
      {"DecodingFromISO8859ZYL", {"enc=none:hex:636166E9"}},
      {"EncodingToCP1252ZYL", {"caf\u00e9 \u20ac"}},
      {"DecodingFromCP1252ZYL", {"enc=none:hex:636166E980"}},
      {"UnicodeStringZYL", {"caf\u00e9"}},
      {"NativeStringZYL", {"enc=utf16:caf\u00e9"}},
      {"DetectUnicodeMarkersZYL", {"hex:EFBBBF41"}},
      {"GetUnicodeMarkersZYL", {"2"}},
      {"EncodingToHTMLZYL", {"Tom & Jerry's <b> caf\u00e9 \u2603", "0"}},
      {"DecodingFromHTMLZYL", {"&lt;&#60;&#x3C;&eacute;&nbsp"}},
      {"EncodingToXMLZYL", {"a'b <c> \u00e9", "1"}},
      {"DecodingFromXMLZYL", {"&apos;&amp;&#x1F600;"}},
      {"StringIsHTMLreadyZYL", {"a&b"}},
      {"StringIsXMLreadyZYL", {"plain text"}},
      {"RemoveHTMLTagsZYL", {"a<b>bold</b> text"}},
      {"RemoveHTMLTagsWithZYL", {"a<br/>c", "-"}},
      {"EncodingToURLZYL", {"a b+c/\u00e9"}},
      {"EncodingToURLZYL", {"a b", "1"}},
      {"DecodingFromURLZYL", {"%41%4a+b"}},
      {"DecodingFromURLZYL", {"%41%4a+b", "1"}},
      {"EncodingToQuotedPrintableZYL", {"caf\u00e9 = x \r\ny", "20"}},
      {"DecodingFromQuotedPrintableZYL", {"a=3Db=\r\nc=C3=A9"}},
      {"EncodeEmailSubjectZYL", {"esc:caf\u00e9 a\\tb"}},
      {"HexstringZYL", {"hello world!", "2", "4", "> ", "esc:\\n", " ", "."}},
      {"EncodingToHexZYL", {"hex:00FF41"}},
      {"DecodingFromHexZYL", {"00ff41"}},
      {"_yDecodeStringZYL", {"hex:2A2B3D4A"}},
      {"_yDecodeMemoryZYL", {"mem:hex:2A2B3D4A"}},
      {"ConvertUnicodeToCharacterCompositionZYL", {"e\u0301a\u0300\u1100\u1161"}},
      {"ConvertUnicodeToCharacterDecompositionZYL", {"\u00e9\u00e0\uac00"}},
      {"RemoveAccentsZYL", {"\u00c9l\u00e8ve", "true"}},
      {"RTFDataZYL", {"Styled text\rsecond paragraph", "false"}},
      {"RTFDataZYL", {"old", "false", "{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}{\\colortbl;\\red255\\green0\\blue0;}"
                                       "\\f0\\fs24\\cf1\\b Hello\\b0\\par\\qc World\\u8364?\\'e9}"}},
  };
  return cases;
}

std::string Describe(const zyltool::CallValue& value) {
  const auto hex = [](const std::string& bytes) { return zyltool::Hex(bytes); };
  switch (value.type) {
    case zyltool::ValueType::String:
      if (value.pointer == nullptr) return "nil";
      return "string " + std::to_string(memhost::EncodingOf(static_cast<REALstringStruct*>(value.pointer))) + " " +
             hex(memhost::Bytes(static_cast<REALstringStruct*>(value.pointer)));
    case zyltool::ValueType::MemoryBlock:
      if (value.pointer == nullptr) return "nil";
      return "block " + hex(memhost::MemoryBlockBytes(static_cast<REALmemoryBlockStruct*>(value.pointer)));
    case zyltool::ValueType::StringArray: {
      if (value.pointer == nullptr) return "nil";
      std::string text = "array";
      for (const memhost::StringValue& element : memhost::ArrayElements(static_cast<_REALarrayString*>(value.pointer))) {
        text += " " + hex(element.bytes);
      }
      return text;
    }
    case zyltool::ValueType::Integer: return std::to_string(value.integer);
    case zyltool::ValueType::Boolean: return value.boolean != 0 ? "true" : "false";
    case zyltool::ValueType::Double: {
      char text[64];
      std::snprintf(text, sizeof text, "%.17g", value.real);
      return text;
    }
    case zyltool::ValueType::Void: return "";
    default: return "?";
  }
}

Caller::Caller() : catalogue_(zyltool::ReadCatalogue()) {}

zyltool::Plan Caller::PlanFor(const Case& c, std::vector<zyltool::CommandArgument>* arguments) const {
  for (const std::string& written : c.arguments) arguments->push_back(zyltool::ParseArgument(written));
  const std::vector<const zyltool::Entry*> candidates = zyltool::FindByName(catalogue_, c.name);
  if (candidates.empty()) throw std::logic_error(c.name + " is not registered");
  return zyltool::ChooseOverload(candidates, *arguments);
}

std::string Caller::Declaration(const Case& c) const {
  std::vector<zyltool::CommandArgument> arguments;
  return PlanFor(c, &arguments).entry->text;
}

Outcome Caller::Call(const Case& c, void (*afterCall)()) const {
  std::vector<zyltool::CommandArgument> arguments;
  const zyltool::Plan plan = PlanFor(c, &arguments);
  zyltool::Outcome called = zyltool::Invoke(plan, arguments, memhost::kUTF8);
  if (afterCall != nullptr) afterCall();
  Outcome outcome;
  outcome.result = Describe(called.result);
  const zyltool::CallValue& r = called.result;
  switch (r.type) {
    case zyltool::ValueType::Integer: outcome.empty = r.integer == 0; break;
    case zyltool::ValueType::Boolean: outcome.empty = r.boolean == 0; break;
    case zyltool::ValueType::Double: outcome.empty = r.real == 0; break;
    case zyltool::ValueType::Void: outcome.empty = true; break;
    default: outcome.empty = r.pointer == nullptr; break;
  }
  outcome.exception = called.exception;
  zyltool::ReleaseResult(called.result);
  return outcome;
}

}  // namespace hardening
