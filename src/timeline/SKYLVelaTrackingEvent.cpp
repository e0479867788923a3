#include "timeline/SKYLVelaTrackingEvent.h"

#include <functional>

#include "platform/Description.h"
#include "platform/Hashing.h"

namespace skylark {

size_t SKYLVelaTrackingEvent::hash() const {
  size_t h = 1;
  h = hashStep(h, std::hash<std::string>{}(name_));
  h = hashStep(h, url_ ? url_->hash() : 0);
  return hashStep(h, hashFromDouble(offset_.seconds()));
}

std::string SKYLVelaTrackingEvent::description() const {
  return descriptionHeader("SKYLVelaTrackingEvent", this) + " name = " + name_ + ";" +
         " offset = " + offset_.description() + ";" + " url = " + describe(url_) + ";>";
}

}  // namespace skylark
