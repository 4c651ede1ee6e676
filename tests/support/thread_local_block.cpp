// A library with a variable of each thread, for tst_leak_check.

#include <array>

namespace {

/// With the sanitizer's own 16 bytes before it 56 bytes, which take 64: blocks of this size begin
/// pages.
thread_local std::array<long, 5> block;

} // namespace

extern "C" void* threadLocalBlock()
{
    return block.data();
}
