#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Visibility.h"
#include "timeline/SKYLVelaTrackingEvent.h"

namespace SKYLARK_API skylark {

// The beacons of one ad (or companion), by name and, for those with an
// offset, in offset order. Immutable; shared between copies of its ad.
//
// Each event is held once. The events with an offset (but for "complete"
// and "breakEnd") come first, in offset order, so that playback walks them
// in one run; the others follow in the order they were added. The by-name
// view reads them through a list of positions sorted by name, then by the
// order in which they were added.
class SKYLVelaTrackingEventsCollection {
 public:
  // Some of the collection's events, in a given order. A view: valid while
  // the collection lives.
  class EventList {
   public:
    class Iterator {
     public:
      using iterator_category = std::forward_iterator_tag;
      using value_type = SKYLVelaTrackingEvent;
      using difference_type = std::ptrdiff_t;
      using pointer = const SKYLVelaTrackingEvent*;
      using reference = const SKYLVelaTrackingEvent&;

      Iterator() = default;
      Iterator(const SKYLVelaTrackingEvent* events, const uint32_t* position)
          : events_(events), position_(position) {}
      reference operator*() const { return events_[*position_]; }
      pointer operator->() const { return &events_[*position_]; }
      Iterator& operator++() {
        ++position_;
        return *this;
      }
      Iterator operator++(int) {
        Iterator before = *this;
        ++position_;
        return before;
      }
      bool operator==(const Iterator& other) const { return position_ == other.position_; }

     private:
      const SKYLVelaTrackingEvent* events_ = nullptr;
      const uint32_t* position_ = nullptr;
    };

    EventList() = default;
    EventList(const SKYLVelaTrackingEvent* events, std::span<const uint32_t> positions)
        : events_(events), positions_(positions) {}

    size_t size() const { return positions_.size(); }
    bool empty() const { return positions_.empty(); }
    const SKYLVelaTrackingEvent& operator[](size_t i) const { return events_[positions_[i]]; }
    const SKYLVelaTrackingEvent& front() const { return (*this)[0]; }
    Iterator begin() const { return {events_, positions_.data()}; }
    Iterator end() const { return {events_, positions_.data() + positions_.size()}; }

   private:
    const SKYLVelaTrackingEvent* events_ = nullptr;
    std::span<const uint32_t> positions_;
  };

  // The events by name, names in ascending order, each name's events in the
  // order they were added. A view: valid while the collection lives.
  class EventsByName {
   public:
    class Iterator {
     public:
      using iterator_category = std::forward_iterator_tag;
      using value_type = std::pair<const std::string&, EventList>;
      using difference_type = std::ptrdiff_t;

      Iterator() = default;
      Iterator(const EventsByName* byName, size_t at) : byName_(byName), at_(at) {}
      // (name, that name's events)
      value_type operator*() const { return {byName_->nameAt(at_), byName_->listAt(at_)}; }
      Iterator& operator++() {
        at_ = byName_->nextName(at_);
        return *this;
      }
      Iterator operator++(int) {
        Iterator before = *this;
        ++*this;
        return before;
      }
      bool operator==(const Iterator& other) const { return at_ == other.at_; }

     private:
      const EventsByName* byName_ = nullptr;
      size_t at_ = 0;
    };

    EventsByName(const SKYLVelaTrackingEvent* events, std::span<const uint32_t> positions)
        : events_(events), positions_(positions) {}

    // The events of that name; none for a name not in the collection.
    EventList at(std::string_view name) const;
    // 1 when the collection has events of that name, else 0.
    size_t count(std::string_view name) const { return at(name).empty() ? 0 : 1; }
    bool empty() const { return positions_.empty(); }
    Iterator begin() const { return {this, 0}; }
    Iterator end() const { return {this, positions_.size()}; }

   private:
    const std::string& nameAt(size_t at) const { return events_[positions_[at]].name(); }
    size_t nextName(size_t at) const;
    EventList listAt(size_t at) const {
      return {events_, positions_.subspan(at, nextName(at) - at)};
    }

    const SKYLVelaTrackingEvent* events_;
    std::span<const uint32_t> positions_;
  };

  // The events as they were added.
  explicit SKYLVelaTrackingEventsCollection(std::vector<SKYLVelaTrackingEvent> trackingEvents);

  EventsByName eventsByName() const { return {events_.data(), byName_}; }
  std::span<const SKYLVelaTrackingEvent> orderedEventsWithOffsets() const {
    return {events_.data(), orderedCount_};
  }

  // The URLs of every event of that name, in insertion order.
  std::vector<URL> URLsForTrackingEventsNamed(std::string_view name) const;
  // The URLs of the offset events in [atOrAfter, before).
  std::vector<URL> URLsForTrackingEventsAtOrAfter(const MediaTime& atOrAfter,
                                                  const MediaTime& before) const;

  // Equal when both have the same events under each name, in the same
  // order, and the same events in offset order.
  bool operator==(const SKYLVelaTrackingEventsCollection& other) const;
  size_t hash() const;
  std::string description() const;

 private:
  // The offset events in offset order, then the rest as added.
  std::vector<SKYLVelaTrackingEvent> events_;
  size_t orderedCount_ = 0;
  // Positions in events_, by name, then as added.
  std::vector<uint32_t> byName_;
};

}  // namespace skylark
