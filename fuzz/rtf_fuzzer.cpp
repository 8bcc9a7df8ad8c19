// RTF import followed by export: the input is assigned to the "RTFDataZYL" property of a
// StyledText (holding runs from the input, or none), the text is read back as RTF, and that RTF
// is imported into a second StyledText and exported again. The exporter's RTF need not come back
// the same (the importer drops what its algorithm drops on purpose), so only faults count here:
// a leak, a host problem, a sanitizer report, an exception.
//
// Input: one byte of configuration (skip-paragraph flags, the RTF string's encoding, the log,
// boolean garbage), the runs of the StyledText, then the RTF text.
#include "fuzz_support.h"

namespace {

// The module rows of the property's getter and setter.
constexpr const char* kGetter = "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false) as string";
constexpr const char* kSetter =
    "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false, assigns value as string)";

REALstringStruct* Export(REALobjectStruct* text, int8_t skip) {
  return memhost::Call<REALstringStruct*>(kGetter, text, skip);
}

void Import(REALobjectStruct* text, int8_t skip, REALstringStruct* rtf) {
  memhost::Call<void>(kSetter, text, skip, rtf);
}

}  // namespace

ZYL_FUZZ_TARGET(rtf) {
  zylfuzz::Input in(data, size);
  const uint8_t config = in.Byte();
  zylfuzz::HostOptions options;
  options.debugging = (config & 0x10) != 0;
  options.booleanGarbage = (config & 0x20) != 0;
  zylfuzz::Host host(options);
  const auto importSkip = static_cast<int8_t>((config & 1) != 0 ? ((config & 0x40) != 0 ? 0x80 : 1) : 0);
  const auto exportSkip = static_cast<int8_t>((config & 2) != 0 ? 1 : 0);
  static constexpr uint32_t kEncodings[] = {memhost::kUTF8, memhost::kNoEncoding, memhost::kWindowsLatin1,
                                            memhost::kUTF16};
  const uint32_t encoding = kEncodings[(config >> 2) & 3];

  REALobjectStruct* text = host.NewStyledText(in);
  if (text == nullptr) text = host.KeepObject(memhost::NewStyledText({}));
  memhost::String rtf(in.Rest(), encoding);
  Import(text, importSkip, rtf.get());
  memhost::String first(Export(text, exportSkip));

  memhost::Object again(memhost::NewStyledText({}));
  Import(again.get(), 0, first.get());
  memhost::String second(Export(again.get(), exportSkip));
  zylfuzz::CheckRaised(memhost::TakeException(), false);
}
