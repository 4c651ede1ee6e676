/// @file
/// How much data a test of statistics takes. A sanitizer watches each access, and sees the same
/// ones in a tenth of the data in a tenth of the time; what only the whole of it shows, the other
/// builds check.
#pragma once

namespace amount {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int divisor = 10;
#else
constexpr int divisor = 1;
#endif

} // namespace amount
