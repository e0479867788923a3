#include "tracking/SKYLVelaProgressTrackerEvent.h"

#include "platform/Description.h"

namespace skylark {

std::string_view SKYLVelaProgressTrackerEvent::trackerType() const {
  switch (type_) {
    case EnterAd:
      return "EnterAd";
    case EnterAdSequence:
      return "EnterAdSequence";
    case ExitAdSequence:
      return "ExitAdSequence";
    case AdProgress:
      return "AdProgress";
    case EnterAdSequenceWhileRewinding:
      return "EnterAdSequenceWhileRewinding";
    case ExitAdSequenceWhileRewinding:
      return "ExitAdSequenceWhileRewinding";
    default:
      return "ExitAd";
  }
}

std::string SKYLVelaProgressTrackerEvent::description() const {
  return descriptionHeader("SKYLVelaProgressTrackerEvent", this) +
         " type = " + std::string(trackerType()) + ";>";
}

}  // namespace skylark
