#pragma once

// The edge where exceptions end.

#include <qdvideomixer/object.h>

#include <exception>
#include <new>
#include <utility>

namespace qdvm {

// Runs an operation that gives a result code. E_OUTOFMEMORY if it lacks memory, E_FAIL for any
// other exception.
template <class Operation>
HRESULT NoThrow(Operation&& operation) noexcept {
    try {
        return std::forward<Operation>(operation)();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::exception&) {
        return E_FAIL;
    }
}

}  // namespace qdvm
