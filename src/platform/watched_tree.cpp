#include "platform/watched_tree.h"

namespace lumisk {

WatchedTree::Index WatchedTree::allocate() {
  if (free_.empty()) {
    nodes_.emplace_back();
    return static_cast<Index>(nodes_.size() - 1);
  }
  const Index node = free_.back();
  free_.pop_back();
  nodes_[node] = Node{};
  return node;
}

WatchedTree::Index WatchedTree::addRoot(std::string path) {
  const Index node = allocate();
  nodes_[node].name = std::move(path);
  return node;
}

WatchedTree::Index WatchedTree::addChild(Index parent, std::string_view name) {
  const Index node = allocate();
  nodes_[node].name = name;
  attach(node, parent);
  return node;
}

void WatchedTree::attach(Index node, Index parent) {
  Node& added = nodes_[node];
  added.parent = parent;
  added.previous = kNone;
  added.next = nodes_[parent].firstChild;
  if (added.next != kNone) nodes_[added.next].previous = node;
  nodes_[parent].firstChild = node;
}

void WatchedTree::detach(Index node) {
  const Node& gone = nodes_[node];
  if (gone.parent == kNone) return;
  if (gone.next != kNone) nodes_[gone.next].previous = gone.previous;
  if (gone.previous != kNone)
    nodes_[gone.previous].next = gone.next;
  else
    nodes_[gone.parent].firstChild = gone.next;
}

void WatchedTree::move(Index node, Index parent, std::string_view name) {
  detach(node);
  nodes_[node].name = name;
  attach(node, parent);
}

void WatchedTree::remove(Index node) {
  detach(node);
  nodes_[node] = Node{};
  free_.push_back(node);
}

std::string WatchedTree::pathOf(Index node) const {
  std::vector<Index> chain;
  for (; node != kNone; node = nodes_[node].parent) chain.push_back(node);
  std::string path = nodes_[chain.back()].name;
  for (auto at = chain.rbegin() + 1; at != chain.rend(); ++at) {
    if (path.back() != '/') path += '/';
    path += nodes_[*at].name;
  }
  return path;
}

WatchedTree::Index WatchedTree::rootOf(Index node) const {
  while (nodes_[node].parent != kNone) node = nodes_[node].parent;
  return node;
}

WatchedTree::Index WatchedTree::child(Index parent, std::string_view name) const {
  for (Index at = nodes_[parent].firstChild; at != kNone; at = nodes_[at].next)
    if (nodes_[at].name == name) return at;
  return kNone;
}

std::vector<WatchedTree::Index> WatchedTree::subtree(Index node) const {
  std::vector<Index> found{node};
  for (std::size_t i = 0; i < found.size(); ++i)
    for (Index at = nodes_[found[i]].firstChild; at != kNone; at = nodes_[at].next) found.push_back(at);
  return found;
}

}  // namespace lumisk
