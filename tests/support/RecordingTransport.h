#pragma once

#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "beacons/BeaconTransport.h"

namespace skylark::test {

// Records every beacon handed to it and answers at once, in the caller's
// thread, with the next scripted delivery (2xx when none is left).
class RecordingTransport final : public BeaconTransport {
 public:
  using BeaconTransport::send;
  void send(const URL& url, Delivered delivered) override {
    BeaconDelivery answer{BeaconDelivery::Outcome::answered2xx, 204, ""};
    {
      std::lock_guard lock(mutex_);
      urls.push_back(url.absoluteString());
      if (!script_.empty()) {
        answer = script_.front();
        script_.pop_front();
      }
    }
    if (delivered) delivered(answer);
  }
  // The next answers, in order.
  void script(std::vector<BeaconDelivery> answers) {
    std::lock_guard lock(mutex_);
    script_.insert(script_.end(), answers.begin(), answers.end());
  }
  static BeaconDelivery http(long status) {
    return {status / 100 == 2 ? BeaconDelivery::Outcome::answered2xx
                              : BeaconDelivery::Outcome::answeredOther,
            status, "HTTP " + std::to_string(status)};
  }

  std::vector<std::string> urls;  // read when the sending is done

 private:
  std::mutex mutex_;
  std::deque<BeaconDelivery> script_;
};

}  // namespace skylark::test
