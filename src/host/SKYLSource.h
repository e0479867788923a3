#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/URL.h"
#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

inline constexpr std::string_view kSKYLDeliveryHLS = "HLS";
inline constexpr std::string_view kSKYLDeliveryVela = "Vela";
inline constexpr std::string_view kSKYLDeliveryFlintSSAI = "FlintSSAI";

// One source of a video: a stream address with its delivery method and
// properties, or (for a stream whose ad document the application already
// holds) the VMAP bytes themselves. The host decides whether a source is a
// live SSAI stream.
class SKYLSource {
 public:
  using Properties = std::map<std::string, std::string>;

  static std::shared_ptr<SKYLSource> initWithURL(std::optional<URL> url,
                                                 std::optional<std::string> deliveryMethod,
                                                 Properties properties);
  // A source without URL or delivery method carrying the VMAP document.
  // The bytes are kept once: the session's document and timeline share
  // them, and so do sources made from the same shared bytes.
  static std::shared_ptr<SKYLSource> initWithVMAPXMLData(std::string vmapXMLData,
                                                         Properties properties);
  static std::shared_ptr<SKYLSource> initWithVMAPXMLData(
      std::shared_ptr<const std::string> vmapXMLData, Properties properties);

  const std::optional<URL>& url() const { return url_; }
  const std::optional<std::string>& deliveryMethod() const { return deliveryMethod_; }
  const Properties& properties() const { return properties_; }
  // Null when the source carries no document.
  const std::shared_ptr<const std::string>& vmapXMLData() const { return vmapXMLData_; }
  void setVmapXMLData(std::optional<std::string> data) {
    vmapXMLData_ = data ? std::make_shared<const std::string>(std::move(*data)) : nullptr;
  }
  void setVmapXMLData(std::shared_ptr<const std::string> data) { vmapXMLData_ = std::move(data); }
  bool isLiveSSAISource() const { return liveSSAISource_; }
  void setLiveSSAISource(bool live) { liveSSAISource_ = live; }

 private:
  SKYLSource(std::optional<URL> url, std::optional<std::string> deliveryMethod,
             Properties properties)
      : url_(std::move(url)),
        deliveryMethod_(std::move(deliveryMethod)),
        properties_(std::move(properties)) {}

  std::optional<URL> url_;
  std::optional<std::string> deliveryMethod_;
  Properties properties_;
  std::shared_ptr<const std::string> vmapXMLData_;
  bool liveSSAISource_ = false;
};

}  // namespace skylark
