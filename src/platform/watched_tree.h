#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace lumisk {

// The folders that are watched, as trees of names: a path is put together when it is asked for. About a hundred bytes a
// folder. Nodes that show the same inode share a watch and are chained. A plain value, of one thread; looks at nothing.
class WatchedTree {
 public:
  using Index = std::uint32_t;
  static constexpr Index kNone = UINT32_MAX;
  static constexpr int kNoWatch = -1;

  struct Node {
    std::string name;  // of a root: its path
    std::uint64_t inode = 0;
    Index parent = kNone;
    Index firstChild = kNone;
    Index next = kNone;  // sibling
    Index previous = kNone;
    Index sameWatch = kNone;
    int watch = kNoWatch;
    std::uint16_t stream = 0;  // of roots
    bool isWaiting = false;    // to be scanned
    bool isRescanned = false;  // could not be watched
    bool isUnreached = false;  // may not be opened, or not by this path
  };

  Index addRoot(std::string path);
  Index addChild(Index parent, std::string_view name);
  void move(Index node, Index parent, std::string_view name);
  void remove(Index node);  // a leaf without a watch

  Node& operator[](Index node) { return nodes_[node]; }
  const Node& operator[](Index node) const { return nodes_[node]; }
  [[nodiscard]] std::string pathOf(Index node) const;
  [[nodiscard]] Index rootOf(Index node) const;
  [[nodiscard]] Index child(Index parent, std::string_view name) const;  // walks the siblings
  // The node and all below it, each after its parent.
  [[nodiscard]] std::vector<Index> subtree(Index node) const;

 private:
  Index allocate();
  void attach(Index node, Index parent);
  void detach(Index node);

  std::deque<Node> nodes_;
  std::vector<Index> free_;
};

}  // namespace lumisk
