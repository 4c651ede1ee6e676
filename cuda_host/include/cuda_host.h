/// @file
/// Functions that only the host-memory CUDA has: control for tests and for the bench. Any thread.
#pragma once

#include <cstddef>

namespace cuda_host {

/// Limit of all device allocations together, in bytes; an allocation that exceeds it fails with
/// cudaErrorMemoryAllocation. Initially 8 GiB.
void setMemoryBudget(std::size_t bytes);
std::size_t memoryBudget();

/// Currently allocated bytes and blocks.
std::size_t allocatedBytes();
std::size_t allocationCount();

/// Number of currently registered graphics resources.
std::size_t registeredResources();

/// Makes the next call of the named function ("cudaGraphicsGLRegisterImage", ...) fail with the
/// error, without doing anything else. Of several plans for one function each call uses one. Throws
/// std::invalid_argument for an unknown function.
void failNext(const char* function, int error);

/// Removes the unused plans of failNext().
void forgetFailures();

} // namespace cuda_host
