#pragma once

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
    const uint64_t id = property.addObserver(std::move(handler), initial);
    std::weak_ptr<typename Observable<T>::Registry> registry = property.registry();
    endings_.push_back([registry, id] {
      if (auto live = registry.lock()) live->remove(id);
    });
  }

  void stopObserving() {
    auto endings = std::move(endings_);
    endings_.clear();
    for (auto& end : endings) end();
  }

 private:
  std::vector<std::function<void()>> endings_;
};

}  // namespace skylark
