#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <utility>
#include <vector>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

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

  // The registry outlives the property while observations still name it,
  // and while it announces a change, even when an observer destroys the
  // property. An observer may add or remove observers, or set the property
  // again, while it runs: the list it sits in does not move meanwhile
  // (additions wait in a list of their own, removals are marked) and is
  // tidied once no observer runs.
  //
  // A player sets several of these on every tick of every session, and
  // with a thousand sessions each line read is a likely cache miss on the
  // tick's critical path. So an assignment to a property with one observer
  // reads one cache line of the registry (the counters and that observer),
  // with two observers two lines; later observers, and what only re-entry
  // needs, sit behind one pointer. (Ids are 32-bit: no property is observed
  // four billion times.)
  class alignas(64) Registry {
   public:
    uint64_t add(Observer observer) {
      Entry entry{nextId_, false, std::move(observer)};
      if (calling_ > 0) {
        extras().joining.push_back(std::move(entry));
        untidy_ = true;
      } else if (inlineCount_ == 0) {
        first_ = std::move(entry);  // tidied entries fill the inline slots first
        inlineCount_ = 1;
      } else if (inlineCount_ == 1) {
        second_ = std::move(entry);
        inlineCount_ = 2;
      } else {
        extras().entries.push_back(std::move(entry));
      }
      return nextId_++;
    }
    void remove(uint64_t id) {
      forEachEntry([&](Entry& entry) {
        if (entry.id != id) return true;
        entry.removed = true;
        untidy_ = true;
        return false;
      });
      tidy();
    }
    // Queues the change for the observers registered now; the outermost
    // announcement delivers the queue in order.
    void announce(const T& value) {
      if (announcing_) {
        extras().pending.push_back({value, nextId_});
        return;
      }
      announcing_ = true;
      // A copy: the property's value may change (or go) while this one is told.
      const T current = value;
      deliver(current, nextId_);
      if (extras_) {
        auto& pending = extras_->pending;
        for (size_t i = 0; i < pending.size(); ++i) {
          Change change = std::move(pending[i]);
          deliver(change.value, change.before);
        }
        pending.clear();
      }
      announcing_ = false;
      releaseIfIdle();  // last: it may destroy this
    }
    // Tells one observer, if it is still registered.
    void deliverTo(uint64_t id, const T& value) {
      ++calling_;
      forEachEntry([&](Entry& entry) {
        if (entry.id != id) return true;
        if (!entry.removed) entry.observer(value);
        return false;
      });
      --calling_;
      tidy();
      releaseIfIdle();  // last: it may destroy this
    }
    // The property is going away; the registry lives on, by `self`, until
    // any announcement under way is over.
    void propertyGone(std::shared_ptr<Registry> self) {
      if (announcing_ || calling_ > 0) extras().keepAlive = std::move(self);
    }

   private:
    struct Change {
      T value;
      uint32_t before;  // observers with a smaller id hear it
    };
    struct Entry {
      uint32_t id = 0;  // 0: none
      bool removed = false;
      Observer observer;
    };
    struct Extras {
      std::vector<Entry> entries;  // after second_, by id
      std::list<Entry> joining;    // added while an observer ran; ids after entries
      std::vector<Change> pending;
      std::shared_ptr<Registry> keepAlive;
    };

    Extras& extras() {
      if (!extras_) extras_ = std::make_unique<Extras>();
      return *extras_;
    }
    // Visits the entries in id order until visit returns false.
    template <typename Visit>
    void forEachEntry(Visit visit) {
      if (inlineCount_ > 0 && !visit(first_)) return;
      if (inlineCount_ > 1 && !visit(second_)) return;
      if (!extras_) return;
      for (size_t i = 0; i < extras_->entries.size(); ++i) {
        if (!visit(extras_->entries[i])) return;
      }
      for (auto& entry : extras_->joining) {
        if (!visit(entry)) return;
      }
    }
    // Calls, in registration order, the observers registered before
    // `before` and not removed since.
    void deliver(const T& value, uint32_t before) {
      ++calling_;
      forEachEntry([&](Entry& entry) {
        if (entry.id >= before) return false;
        if (!entry.removed) entry.observer(value);
        return true;
      });
      --calling_;
      tidy();
    }
    // With no observer running, after a removal or an addition made while
    // one ran: drops the removed and lays the rest out again in id order,
    // the inline slots first.
    void tidy() {
      if (calling_ > 0 || !untidy_) return;
      untidy_ = false;
      std::vector<Entry> kept;
      forEachEntry([&](Entry& entry) {
        if (!entry.removed) kept.push_back(std::move(entry));
        return true;
      });
      first_ = Entry();
      second_ = Entry();
      if (extras_) {
        extras_->entries.clear();
        extras_->joining.clear();
      }
      inlineCount_ = static_cast<uint8_t>(std::min<size_t>(kept.size(), 2));
      if (kept.size() > 0) first_ = std::move(kept[0]);
      if (kept.size() > 1) second_ = std::move(kept[1]);
      for (size_t i = 2; i < kept.size(); ++i) extras_->entries.push_back(std::move(kept[i]));
    }
    void releaseIfIdle() {
      if (announcing_ || calling_ > 0 || !extras_ || !extras_->keepAlive) return;
      const std::shared_ptr<Registry> self = std::move(extras_->keepAlive);
    }

    // The first line: what every assignment reads.
    uint32_t nextId_ = 1;
    uint16_t calling_ = 0;
    bool announcing_ = false;
    bool untidy_ = false;      // an entry was removed, or joined while one ran
    uint8_t inlineCount_ = 0;  // how many of first_ and second_ are taken
    Entry first_;
    std::unique_ptr<Extras> extras_;
    // The second line, read only when a second observer is registered.
    Entry second_;
  };

  static_assert(sizeof(Registry) == 128, "one observer is told from one cache line, two from two");

  explicit Observable(T initial = T()) : value_(std::move(initial)) {}
  ~Observable() {
    if (Registry* registry = registry_.get()) registry->propertyGone(std::move(registry_));
  }
  Observable(const Observable&) = delete;
  Observable& operator=(const Observable&) = delete;

  const T& get() const { return value_; }
  // An observer may destroy this; nothing here is touched after announcing.
  void set(T value) {
    value_ = std::move(value);
    if (registry_) registry_->announce(value_);
  }

  // Registers an observer; with `initial` it also runs at once with the
  // current value. Returns the id to remove it with.
  uint64_t addObserver(Observer observer, bool initial) {
    if (!registry_) registry_ = std::make_shared<Registry>();
    const uint64_t id = registry_->add(std::move(observer));
    if (initial) registry_->deliverTo(id, value_);
    return id;
  }
  void removeObserver(uint64_t id) {
    if (registry_) registry_->remove(id);
  }
  // Empty until the first observer is added.
  std::weak_ptr<Registry> registry() const { return registry_; }

 private:
  T value_;
  // Made by the first observer: many properties are never observed (an
  // application reads what it needs), and an assignment to one of them
  // reads no registry and none is kept for it.
  std::shared_ptr<Registry> registry_;
};

}  // namespace skylark
