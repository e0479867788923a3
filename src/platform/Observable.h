#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace skylark {

// A property whose every assignment is announced: observers run
// synchronously on the assigning thread, in registration order, each time
// a value is set (an equal value too). An observer removed while a change
// is being announced is not called again; one added meanwhile hears only
// later changes. Not thread-safe: set and observe on one sequence.
template <typename T>
class Observable {
 public:
  using Observer = std::function<void(const T& newValue)>;

  // The registry outlives the property while observations still name it.
  class Registry {
   public:
    uint64_t add(Observer observer) {
      entries_.push_back({nextId_, std::make_shared<Observer>(std::move(observer))});
      return nextId_++;
    }
    void remove(uint64_t id) {
      entries_.erase(std::remove_if(entries_.begin(), entries_.end(),
                                    [id](const Entry& e) { return e.id == id; }),
                     entries_.end());
    }
    void notify(const T& value) {
      const auto snapshot = entries_;
      for (const auto& entry : snapshot) {
        if (contains(entry.id)) (*entry.observer)(value);
      }
    }

   private:
    struct Entry {
      uint64_t id;
      std::shared_ptr<Observer> observer;
    };
    bool contains(uint64_t id) const {
      return std::any_of(entries_.begin(), entries_.end(),
                         [id](const Entry& e) { return e.id == id; });
    }
    std::vector<Entry> entries_;
    uint64_t nextId_ = 1;
  };

  explicit Observable(T initial = T()) : value_(std::move(initial)) {}
  Observable(const Observable&) = delete;
  Observable& operator=(const Observable&) = delete;

  const T& get() const { return value_; }
  void set(T value) {
    value_ = std::move(value);
    const T announced = value_;  // observers may assign again meanwhile
    registry_->notify(announced);
  }

  // Registers an observer; with `initial` it also runs at once with the
  // current value. Returns the id to remove it with.
  uint64_t addObserver(Observer observer, bool initial) {
    const auto shared = std::make_shared<Observer>(std::move(observer));
    const uint64_t id = registry_->add([shared](const T& v) { (*shared)(v); });
    if (initial) (*shared)(value_);
    return id;
  }
  void removeObserver(uint64_t id) { registry_->remove(id); }
  std::weak_ptr<Registry> registry() const { return registry_; }

 private:
  T value_;
  std::shared_ptr<Registry> registry_ = std::make_shared<Registry>();
};

}  // namespace skylark
