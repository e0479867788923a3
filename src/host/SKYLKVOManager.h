#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/Observable.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Owns a set of observations and ends them all when told to stop or when
// destroyed, so an observer never outlives its owner's interest. An
// observation of a property that is already gone ends quietly.
class SKYLKVOManager {
 public:
  SKYLKVOManager() = default;
  ~SKYLKVOManager() { stopObserving(); }
  SKYLKVOManager(const SKYLKVOManager&) = delete;
  SKYLKVOManager& operator=(const SKYLKVOManager&) = delete;

  // `initial` runs the handler at once with the current value.
  template <typename T>
  void startObserving(Observable<T>& property, std::function<void(const T&)> handler,
                      bool initial) {
    using Registry = typename Observable<T>::Registry;
    const uint64_t id = property.addObserver(std::move(handler), initial);
    endings_.push_back({property.registry(), id, [](void* registry, uint64_t observer) {
                          static_cast<Registry*>(registry)->remove(observer);
                        }});
  }

  void stopObserving() {
    auto endings = std::move(endings_);
    endings_.clear();
    for (auto& ending : endings) {
      if (const auto live = ending.registry.lock()) ending.remove(live.get(), ending.id);
    }
  }

 private:
  // One observation: its property's registry, typed again by `remove`.
  struct Ending {
    std::weak_ptr<void> registry;
    uint64_t id;
    void (*remove)(void* registry, uint64_t id);
  };
  std::vector<Ending> endings_;
};

}  // namespace skylark
