// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Watch.h"

#include <cerrno>
#include <new>
#include <utility>

#include "dispatch/Workers.h"
#include "value/ValueStorage.h"

namespace vanto::manager {

/// What the pool holds. It outlives the watch when that ends inside the function.
class WatchedFunction final : public Watched {
 public:
  [[nodiscard]] static Ref<WatchedFunction> create(Watch::Function function) {
    return Ref<WatchedFunction>::adopt(::new (allocate(sizeof(WatchedFunction))) WatchedFunction(std::move(function)));
  }

 private:
  explicit WatchedFunction(Watch::Function function) noexcept
      : Watched(watchedClass, &callFunction), function_(std::move(function)) {}

  static void callFunction(Watched& self, std::uint32_t events) noexcept {
    static_cast<WatchedFunction&>(self).function_(events);
  }
  static void destroy(Object& self) noexcept {
    auto& watched = static_cast<WatchedFunction&>(self);
    watched.~WatchedFunction();
    deallocate(&watched);
  }
  static const Class watchedClass;

  const Watch::Function function_;
};

constinit const Class WatchedFunction::watchedClass{"WatchedFunction",         &objectClass, NoKind,
                                                    &WatchedFunction::destroy, nullptr,      nullptr};

Watch::Watch() noexcept = default;

Watch::~Watch() {
  stop();
}

int Watch::start(int descriptor, std::uint32_t events, Function ready) {
  stop();
  Ref<WatchedFunction> watched = WatchedFunction::create(std::move(ready));
  if (!startWatching(*watched, descriptor, events)) return errno;
  watched_ = std::move(watched);
  descriptor_ = descriptor;
  return 0;
}

void Watch::change(std::uint32_t events) noexcept {
  if (watched_) changeWatching(*watched_, descriptor_, events);
}

void Watch::stop() noexcept {
  if (!watched_) return;
  stopWatching(*watched_, descriptor_);
  watched_ = nullptr;
}

}  // namespace vanto::manager
