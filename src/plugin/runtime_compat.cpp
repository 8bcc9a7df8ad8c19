// The C++ runtime the library asks for.
//
// GCC 11 and later compile std::vector's and std::allocator's size check into a call of
// std::__throw_bad_array_new_length, which the C++ runtime exports only from GLIBCXX_3.4.29. The
// library promises to load with older runtimes (GLIBCXX_3.4.28: Debian 11, Ubuntu 20.04), so it
// carries its own definition. The version script keeps it local: the library's own calls bind to
// it and nothing else sees it. It throws exactly what the runtime's would.
#include <new>

namespace std {

[[noreturn]] void __throw_bad_array_new_length() { throw std::bad_array_new_length(); }

}  // namespace std
