#include "host/SKYLSource.h"

namespace skylark {

std::shared_ptr<SKYLSource> SKYLSource::initWithURL(std::optional<URL> url,
                                                    std::optional<std::string> deliveryMethod,
                                                    Properties properties) {
  return std::shared_ptr<SKYLSource>(
      new SKYLSource(std::move(url), std::move(deliveryMethod), std::move(properties)));
}

std::shared_ptr<SKYLSource> SKYLSource::initWithVMAPXMLData(std::string vmapXMLData,
                                                            Properties properties) {
  auto source = initWithURL(std::nullopt, std::nullopt, std::move(properties));
  source->setVmapXMLData(std::make_shared<const std::string>(std::move(vmapXMLData)));
  return source;
}

std::shared_ptr<SKYLSource> SKYLSource::initWithVMAPXMLData(
    std::shared_ptr<const std::string> vmapXMLData, Properties properties) {
  auto source = initWithURL(std::nullopt, std::nullopt, std::move(properties));
  source->setVmapXMLData(std::move(vmapXMLData));
  return source;
}

}  // namespace skylark
