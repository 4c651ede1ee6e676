/// @file
/// What only the host-memory CUDA has: control for tests and for the bench. Any thread.
#pragma once

#include <cstddef>

namespace cuda_host {

/// Bytes that device allocations may take together; an allocation beyond them fails with
/// cudaErrorMemoryAllocation. Starts at 8 GiB.
void setMemoryBudget(std::size_t bytes);
std::size_t memoryBudget();

/// Bytes and blocks allocated now.
std::size_t allocatedBytes();
std::size_t allocationCount();

/// Graphics resources registered so far and not unregistered.
std::size_t registeredResources();

/// Makes the next call of the named function ("cudaGraphicsGLRegisterImage", ...) fail with the
/// error, without doing anything else. Several plans for one function are used up one a call.
/// Throws std::invalid_argument for a function that is not here.
void failNext(const char* function, int error);

/// Drops the plans of failNext() that no call has used up.
void forgetFailures();

} // namespace cuda_host
