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
// later changes. A value set from inside an observer is announced after
// the current one has reached every observer, so each observer hears every
// value in order (an application may seek from inside an ad-start
// callback). Not thread-safe: set and observe on one sequence.
template <typename T>
class Observable {
 public:
  using Observer = std::function<void(const T& newValue)>;

  // The registry outlives the property while observations still name it.
  class Registry {
   public:
    uint64_t add(std::shared_ptr<Observer> observer) {
      entries_.push_back({nextId_, std::move(observer)});
      return nextId_++;
    }
    void remove(uint64_t id) {
      entries_.erase(std::remove_if(entries_.begin(), entries_.end(),
                                    [id](const Entry& e) { return e.id == id; }),
                     entries_.end());
    }
    // Queues the change for the observers registered now; the outermost
    // announcement delivers the queue in order.
    void announce(const T& value) {
      if (announcing_) {
        pending_.push_back({value, ids()});
        return;
      }
      announcing_ = true;
      // The common case, no set from inside an observer, reuses one buffer.
      // A copy: the property's value may change (or go) while this one is told.
      const T current = value;
      std::vector<uint64_t> observers = std::move(observers_);
      observers.clear();
      for (const auto& entry : entries_) observers.push_back(entry.id);
      deliver(current, observers);
      observers_ = std::move(observers);
      while (!pending_.empty()) {
        Change change = std::move(pending_.front());
        pending_.erase(pending_.begin());
        deliver(change.value, change.observers);
      }
      announcing_ = false;
    }

   private:
    struct Change {
      T value;
      std::vector<uint64_t> observers;
    };

    std::vector<uint64_t> ids() const {
      std::vector<uint64_t> out;
      out.reserve(entries_.size());
      for (const auto& entry : entries_) out.push_back(entry.id);
      return out;
    }
    // Calls each observer of the list that is still registered.
    void deliver(const T& value, const std::vector<uint64_t>& to) {
      for (const uint64_t id : to) {
        const auto found = std::find_if(entries_.begin(), entries_.end(),
                                        [id](const Entry& e) { return e.id == id; });
        if (found == entries_.end()) continue;
        const auto observer = found->observer;  // alive even if removed meanwhile
        (*observer)(value);
      }
    }

    struct Entry {
      uint64_t id;
      std::shared_ptr<Observer> observer;
    };

    std::vector<Entry> entries_;
    uint64_t nextId_ = 1;
    std::vector<Change> pending_;
    std::vector<uint64_t> observers_;  // a buffer for the outermost announcement
    bool announcing_ = false;
  };

  explicit Observable(T initial = T()) : value_(std::move(initial)) {}
  Observable(const Observable&) = delete;
  Observable& operator=(const Observable&) = delete;

  const T& get() const { return value_; }
  void set(T value) {
    value_ = std::move(value);
    // The registry, held here, outlives an observer that destroys this.
    const std::shared_ptr<Registry> registry = registry_;
    registry->announce(value_);
  }

  // Registers an observer; with `initial` it also runs at once with the
  // current value. Returns the id to remove it with.
  uint64_t addObserver(Observer observer, bool initial) {
    const auto shared = std::make_shared<Observer>(std::move(observer));
    const uint64_t id = registry_->add(shared);
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
