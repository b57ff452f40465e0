// Node: the change detector's view of one level of the wireframe: a view's debug description and
// the nodes of the subviews that were walked. Two trees with the same text hash alike, so a screen
// whose views did not move or change yields the same hash.
#pragma once

#include <string>
#include <vector>

namespace obx {

class Node {
 public:
  explicit Node(std::string description) : description_(std::move(description)) {}

  const std::string& description() const { return description_; }
  std::vector<Node>& subNodes() { return subNodes_; }
  const std::vector<Node>& subNodes() const { return subNodes_; }

  // The description, then each sub-node's `allDescription` in order.
  std::string allDescription() const;
  // SHA-256 of the UTF-8 bytes of `allDescription`, as 64 lower-case hexadecimal digits.
  std::string hash() const;

 private:
  void append(std::string& text) const;

  std::string description_;
  std::vector<Node> subNodes_;
};

}  // namespace obx
