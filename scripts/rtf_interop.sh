#!/usr/bin/env bash
# RTF interoperability with a real word processor. LibreOffice Writer (Debian's
# libreoffice-writer-nogui, run headless) converts the documents our exporter writes from
# tests/rtf/data/interop/*.runs into flat OpenDocument (.fodt), and writes the styles document back
# as RTF of its own (tests/rtf/data/libreoffice_styles.rtf). Everything it produced is committed
# and checked by the ordinary tests (tests/rtf/rtf_interop_test.cpp); this script only refreshes
# it and prints what LibreOffice read. It is not part of scripts/test.sh.
# Usage: scripts/rtf_interop.sh
set -euo pipefail
cd "$(dirname "$0")/.."

missing=()
command -v soffice >/dev/null || missing+=(libreoffice-writer-nogui)
command -v python3 >/dev/null || missing+=(python3)
if [ ${#missing[@]} -gt 0 ]; then
  apt-get update
  DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
fi
if [ ! -f build/native/build.ninja ]; then
  scripts/setup.sh
  cmake --preset native >/dev/null
fi
cmake --build --preset native --target zyl ZYLString

data=tests/rtf/data/interop
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
office() { soffice -env:UserInstallation="file://$work/profile" --headless "$@" >/dev/null; }

for runs in "$data"/*.runs; do
  name=$(basename "$runs" .runs)
  build/native/tools/zyl rtf-export --raw --from "$runs" >"$data/$name.rtf"
  office --convert-to fodt --outdir "$work" "$data/$name.rtf"
  cp "$work/$name.fodt" "$data/$name.fodt"
done
office --convert-to rtf --outdir "$work/written" "$data/styles.fodt"
cp "$work/written/styles.rtf" tests/rtf/data/libreoffice_styles.rtf

# What LibreOffice read: each paragraph's alignment and each span's text and attributes.
python3 - "$data"/*.fodt <<'PYTHON'
import sys
import xml.etree.ElementTree as ET

NS = {
    "office": "urn:oasis:names:tc:opendocument:xmlns:office:1.0",
    "style": "urn:oasis:names:tc:opendocument:xmlns:style:1.0",
    "text": "urn:oasis:names:tc:opendocument:xmlns:text:1.0",
    "fo": "urn:oasis:names:tc:opendocument:xmlns:xsl-fo-compatible:1.0",
}
def q(name):
    prefix, local = name.split(":")
    return "{%s}%s" % (NS[prefix], local)

for path in sys.argv[1:]:
    root = ET.parse(path).getroot()
    styles = {}
    for s in root.iter(q("style:style")):
        props = {}
        for child in s:
            props.update({k.split("}")[1]: v for k, v in child.attrib.items()})
        styles[s.get(q("style:name"))] = props
    print(path)
    for number, p in enumerate(root.iter(q("text:p")), 1):
        align = styles.get(p.get(q("text:style-name")), {}).get("text-align", "default")
        print("  paragraph %d, alignment %s" % (number, align))
        for span in p.iter(q("text:span")):
            t = styles.get(span.get(q("text:style-name")), {})
            font = t.get("font-name", "")
            try:
                written = font.encode("cp1252").decode("utf-8")
            except (UnicodeEncodeError, UnicodeDecodeError):
                written = font
            note = " (our UTF-8 name %r read as Windows-1252)" % written if written != font else ""
            marks = [w for w, on in (("bold", t.get("font-weight") == "bold"),
                                     ("italic", t.get("font-style") == "italic"),
                                     ("underline", t.get("text-underline-style", "none") != "none")) if on]
            print("    %r: font %r%s, %s, colour %s%s" % ("".join(span.itertext()), font, note,
                  t.get("font-size", "?"), t.get("color", "automatic"), "".join(", " + m for m in marks)))
PYTHON
echo "refreshed $data and tests/rtf/data/libreoffice_styles.rtf; run the ordinary tests to check them"
