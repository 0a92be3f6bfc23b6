// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <VantoService/Export.h>

namespace vanto {

/// A temporary-object scope of the calling thread: whatever operations return without ownership while it is the
/// innermost open scope lives at least until it closes. Scopes nest and close in reverse order of opening, on the
/// thread that opened them; anything else is a broken invariant and ends the process. Every thread has a root scope
/// beneath all others, released when the thread ends, so a temporary never dangles for lack of a scope. Dispatch opens
/// a scope around each work item.
class VANTO_EXPORT TemporaryScope {
 public:
  TemporaryScope() noexcept;
  ~TemporaryScope();
  TemporaryScope(const TemporaryScope&) = delete;
  TemporaryScope& operator=(const TemporaryScope&) = delete;

  /// Releases the scope's temporaries now. The scope is then over; closing again does nothing.
  void close() noexcept;

 private:
  /// Stands for the thread that opened the scope.
  const void* thread_;
  /// Nesting level of this scope on its thread, counted from 1; 0 once closed.
  std::size_t level_;
  /// How many temporaries the thread held when the scope was opened.
  std::size_t firstTemporary_;
};

}  // namespace vanto
