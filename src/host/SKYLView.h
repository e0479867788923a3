#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

class SKYLViewController;

// A rectangle of the application's screen, linked into a responder chain.
// The headless host draws nothing; a view records what it was asked to
// show so tests and tools can read it back. Main queue only.
class SKYLView : public std::enable_shared_from_this<SKYLView> {
 public:
  SKYLView(int width = 0, int height = 0) : width_(width), height_(height) {}
  virtual ~SKYLView() = default;

  int width() const { return width_; }
  int height() const { return height_; }

  std::shared_ptr<SKYLView> nextResponder() const { return nextResponder_.lock(); }
  void setNextResponder(const std::shared_ptr<SKYLView>& next) { nextResponder_ = next; }

  // A responder that can present view controllers answers with itself.
  virtual SKYLViewController* asPresenter() { return nullptr; }

  // What the view shows: a resource address or text, last one wins.
  const std::string& shownContent() const { return shownContent_; }
  void show(std::string content) { shownContent_ = std::move(content); }

 private:
  int width_;
  int height_;
  std::weak_ptr<SKYLView> nextResponder_;
  std::string shownContent_;
};

// A view controller: a responder that presents other view controllers.
class SKYLViewController : public SKYLView {
 public:
  using SKYLView::SKYLView;
  SKYLViewController* asPresenter() override { return this; }

  void presentViewController(std::shared_ptr<SKYLViewController> controller) {
    presented_.push_back(std::move(controller));
  }
  const std::vector<std::shared_ptr<SKYLViewController>>& presented() const { return presented_; }

 private:
  std::vector<std::shared_ptr<SKYLViewController>> presented_;
};

class Player;

// The view that shows a player's picture.
class SKYLPlayerLayerView : public SKYLView {
 public:
  explicit SKYLPlayerLayerView(std::shared_ptr<Player> player, int width = 0, int height = 0)
      : SKYLView(width, height), player_(std::move(player)) {}
  const std::shared_ptr<Player>& player() const { return player_; }

 private:
  std::shared_ptr<Player> player_;
};

}  // namespace skylark
