# zyl's command-line cases: what a user types, the exit status, and what must (OUT, ERR) or must
# not (NOT_OUT) show on standard output and standard error (regular expressions).
# In ARGS, <plugin> is the test plug-in and <file> a file holding FILE_TEXT; STDIN is piped in.
# Every successful run also proves the host session was left clean: zyl exits 1 otherwise.

# Command line
zyl_case(no_command RC 2 ERR "no command given" "usage: zyl")
zyl_case(unknown_option RC 2 ARGS --frobnicate methods ERR "unknown option --frobnicate" "usage: zyl")
zyl_case(unknown_command RC 2 ARGS frobnicate ERR "unknown command \"frobnicate\"")
zyl_case(option_without_value RC 2 ARGS methods --plugin ERR "--plugin needs a value")
zyl_case(help RC 0 ARGS help OUT "call NAME ARG" "hex:HEX" "Exit status")
zyl_case(missing_library RC 1 ARGS --plugin /nonexistent/libnothing.so methods ERR "cannot load /nonexistent/libnothing.so")

# methods
zyl_case(methods RC 0 ARGS methods
         OUT "module StringGlobalsZYL: version 13, flags 0x4" "property Debugging as Boolean, flags 0x26, Hidden"
             "\nvalidate and convert \\([0-9]+\\)\n" "0x14  UnicodeStringZYL\\(s as string\\) as string"
             "[0-9]+ declarations? under [0-9]+ names?")
zyl_case(methods_one_name RC 0 ARGS methods nativestringzyl
         OUT "NativeStringZYL: 1 overload" "zyl call NativeStringZYL <s: string>")
zyl_case(methods_unknown_name RC 2 ARGS methods NoSuchThingZYL ERR "NoSuchThingZYL is not registered")
zyl_case(methods_direct_route RC 0 ARGS --host-version 2012.5 methods
         OUT "control version 10" "single method" NOT_OUT "module ")

# call
zyl_case(call_text RC 0 ARGS call UnicodeStringZYL café OUT "^UTF-16, 8 bytes: café\n$")
zyl_case(call_hex_argument_hex_result RC 0 ARGS call --hex NativeStringZYL enc=utf16le:hex:E900
         OUT "^UTF-8, 2 bytes, hex: C3A9\n$")
zyl_case(call_default_encoding RC 0 ARGS call --enc latin1 NativeStringZYL hex:E9 OUT "^UTF-8, 2 bytes: é\n$")
zyl_case(call_text_converted RC 0 ARGS call --hex NativeStringZYL enc=latin1:é OUT "^UTF-8, 2 bytes, hex: C3A9\n$")
zyl_case(call_raw RC 0 ARGS call --raw NativeStringZYL enc=utf16le:hex:41004200 OUT "^AB$")
zyl_case(call_stdin RC 0 ARGS call NativeStringZYL - STDIN "piped in" OUT "^UTF-8, 8 bytes: piped in\n$")
zyl_case(call_file RC 0 ARGS call NativeStringZYL @<file> FILE_TEXT "from a file" OUT "^UTF-8, 11 bytes: from a file\n$")
zyl_case(call_declaration RC 0 ARGS call --decl "unicodestringzyl(s as string)as string" x OUT "^UTF-16, 2 bytes: x\n$")
zyl_case(call_debug RC 0 ARGS --debug call NativeStringZYL x ERR "ZYL Debug: ")
zyl_case(call_unknown_method RC 2 ARGS call NoSuchThingZYL x ERR "NoSuchThingZYL is not registered" "usage: zyl")
zyl_case(call_no_overload RC 2 ARGS call NativeStringZYL a b ERR "no overload of NativeStringZYL" "takes 1 argument")
zyl_case(call_bad_hex RC 2 ARGS call NativeStringZYL hex:4 ERR "odd number of digits")
zyl_case(call_unknown_encoding RC 2 ARGS call NativeStringZYL enc=klingon:x ERR "unknown encoding \"klingon\"")
zyl_case(call_missing_file RC 1 ARGS call NativeStringZYL @/nonexistent/file ERR "cannot open /nonexistent/file")

# demo
zyl_case(demo RC 0 ARGS demo
         OUT "^ZYL Plugin, version [0-9.]+, built " "registered: module StringGlobalsZYL \\([0-9]+ methods?, 1 property\\)"
             "CheckUTF8ZYL\\(hex:48C3A9FF21, \"\\?\"\\) +->  UTF-8, 5 bytes: Hé\\?!" "[0-9]+ calls? in [0-9]+ famil")

# The test plug-in: every value kind, exceptions, leaks, a class extension, --plugin.
zyl_case(plugin_methods RC 0 ARGS --plugin <plugin> methods
         OUT "7 single methods" "class extension StyledText"
             "TagZYL\\(extends ref as StyledText, SkipParagraphs as boolean = false, assigns value as string\\)")
zyl_case(plugin_exception RC 3 ARGS --plugin <plugin> call RaiseZYL boom 7
         OUT "^nil \\(empty string\\)\n$" ERR "RaiseZYL raised RuntimeException \\(ErrorNumber 7\\): boom")
zyl_case(plugin_ptr_size_and_default RC 0 ARGS --plugin <plugin> call -v SumBytesZYL hex:010203
         OUT "^5\n$" ERR "size = \\(size of data\\)" "start = 1 \\(default\\)")
zyl_case(plugin_ptr_all_arguments RC 0 ARGS --plugin <plugin> call SumBytesZYL ptr:hex:010203 0 OUT "^6\n$")
zyl_case(plugin_double RC 0 ARGS --plugin <plugin> call HalfZYL 5 OUT "^2.5\n$")
zyl_case(plugin_boolean_low_byte RC 0 ARGS --plugin <plugin> call NotZYL 1 OUT "^false\n$")
zyl_case(plugin_boolean_bad RC 2 ARGS --plugin <plugin> call NotZYL maybe ERR "\"maybe\" cannot be b as boolean")
zyl_case(plugin_memoryblock RC 0 ARGS --plugin <plugin> call ReverseZYL mem:ABC OUT "^MemoryBlock, 3 bytes: CBA\n$")
zyl_case(plugin_string_array RC 0 ARGS --plugin <plugin> call SplitZYL a,,b
         OUT "^string\\(\\) with 3 elements\n\\[0\\] UTF-8, 1 byte: a\n\\[1\\] nil|\\[1\\] UTF-8, 0 bytes")
zyl_case(plugin_leak_detected RC 1 ARGS --plugin <plugin> call LeakZYL OUT "^1\n$" ERR "host strings still held: 1")
zyl_case(plugin_extension_getter RC 0 ARGS --plugin <plugin> call TagZYL "first run" OUT "^UTF-8, 9 bytes: first run\n$")
zyl_case(plugin_extension_setter RC 0 ARGS --plugin <plugin> call TagZYL plain "in bold"
         OUT "StyledText after the call: 2 runs" "run 2: UTF-8, 7 bytes: in bold .*bold\\]")

# Overload choice: by the number of arguments, by their kinds, by an exact declaration.
zyl_case(overload_by_count RC 0 ARGS call -v IsASCIIStringZYL abc 1
         ERR "calling IsASCIIStringZYL\\(s as string, mode as integer\\)")
zyl_case(overload_string_first RC 0 ARGS call -v CheckUTF8ZYL hex:41FF ?
         OUT "^UTF-8, 2 bytes: A\\?\n$" ERR "calling CheckUTF8ZYL\\(data as string")
zyl_case(overload_memoryblock RC 0 ARGS call -v CheckUTF8ZYL mem:hex:41FF ?
         OUT "^UTF-8, 2 bytes: A\\?\n$" ERR "calling CheckUTF8ZYL\\(mem as MemoryBlock")
zyl_case(overload_ptr RC 0 ARGS call -v CheckUTF8ZYL "ptr:esc:A\\xff" ?
         OUT "^UTF-8, 2 bytes: A\\?\n$" ERR "calling CheckUTF8ZYL\\(data as ptr" "size = \\(size of data\\)")
zyl_case(overload_unknown_declaration RC 2 ARGS call --decl "NoSuchThingZYL(a as string)" x
         ERR "no method is registered as")
zyl_case(methods_partial_name RC 0 ARGS methods utf OUT "CheckUTF8ZYL: 3 overloads")
zyl_case(call_nil RC 0 ARGS call -v CheckUTF8ZYL nil: ? OUT "^nil \\(empty string\\)\n$" ERR "data as string")
zyl_case(call_text_prefix RC 0 ARGS call NativeStringZYL text:@home OUT "^UTF-8, 5 bytes: @home\n$")
zyl_case(bad_host_version RC 2 ARGS --host-version soon methods ERR "--host-version needs a number")
zyl_case(hex_and_raw RC 2 ARGS call --hex --raw NativeStringZYL x ERR "exclude each other")

# StyledText and RTF: runs described on the command line or in a file, RTF written and read.
zyl_case(runs RC 0 ARGS runs "[font=Arial,size=12,colour=#FF0000,b]esc:H\\ri" "[i]esc: more\\rlast" align:centre,right,left
         OUT "StyledText: 2 runs, 3 paragraphs" "run 1: UTF-8, 3 bytes: H\\\\ri  \\[font Arial, size 12, colour #FF0000, bold\\]"
             "paragraph 2: characters 2-8, alignment 3 \\(right\\)")
zyl_case(rtf_export RC 0 ARGS rtf-export "[font=Arial,size=12,colour=#FF0000,b]esc:H\\ri"
         OUT "^{\\\\rtf1\\\\ansi\\\\ansicpg1252{\\\\fonttbl{\\\\f0\\\\fnil Arial.}}{\\\\colortbl\\\\red255\\\\green0\\\\blue0.}\\\\uc0 \\\\b\\\\f0\\\\cf0\\\\fs24 H\\\\par i}\n$")
zyl_case(rtf_export_from_file RC 0 ARGS rtf-export --raw --from <file>
         FILE_TEXT "# a title and a centred line\n[font=Times,size=14,b]esc:Title\\r\n[colour=#0000FF]centred\nalign:left,centre\n"
         OUT "^{\\\\rtf1.*\\\\ql\\\\b\\\\f0\\\\fs28 Title\\\\par \\\\qc\\\\b0\\\\cf1\\\\fs0 centred}$")
zyl_case(rtf_export_skip_paragraphs RC 0 ARGS rtf-export --skip-paragraphs "esc:a\\rb" align:2,3 NOT_OUT "\\\\q")
zyl_case(rtf_export_nil RC 0 ARGS rtf-export "esc:\\r\\n" OUT "^nil \\(empty string\\)\n$")
zyl_case(rtf_import_file RC 0 ARGS rtf-import @<file>
         FILE_TEXT "{\\rtf1\\ansi{\\fonttbl{\\f0 Times;}}{\\colortbl;\\red255\\green0\\blue0;}\\f0\\fs28\\qc Hello\\par\\qr {\\b\\cf1 world}}"
         OUT "StyledText: 2 runs, 2 paragraphs" "run 2: ASCII, 5 bytes: world  \\[font Times, size 14, colour #FF0000, bold\\]"
             "paragraph 1: characters 0-5, alignment 2 \\(centre\\)" "paragraph 2: characters 6-11, alignment 3 \\(right\\)")
zyl_case(rtf_import_stdin_direct_route RC 0 ARGS --host-version 3000 rtf-import - STDIN "{\\rtf1 a\\par b}"
         OUT "StyledText: 2 runs, 2 paragraphs")
zyl_case(runs_bad_style RC 2 ARGS runs "[bold,big]x" ERR "unknown run style \"big\"")
zyl_case(runs_too_many_alignments RC 2 ARGS runs x align:1,2 ERR "more alignments than the text has paragraphs")
zyl_case(from_elsewhere RC 2 ARGS call --from x NativeStringZYL y ERR "--from belongs to runs and rtf-export")
