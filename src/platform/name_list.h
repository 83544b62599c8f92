#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_calls.h"

namespace lumisk {

// The names of a folder's entries and their types, in the order of their bytes. Compact: one block of text, and eight
// bytes for each name. A value.
class NameList {
 public:
  NameList() = default;
  explicit NameList(const std::vector<FolderEntry>& entries);

  [[nodiscard]] std::size_t size() const { return slots_.size(); }
  [[nodiscard]] std::string_view name(std::size_t index) const { return nameOf(slots_[index]); }
  [[nodiscard]] FileType type(std::size_t index) const { return slots_[index].type; }
  // Its type when the name is listed, byte for byte.
  [[nodiscard]] std::optional<FileType> find(std::string_view name) const;
  [[nodiscard]] bool contains(std::string_view name) const { return find(name).has_value(); }

 private:
  struct Slot {
    std::uint32_t offset;
    std::uint16_t length;
    FileType type;
  };
  [[nodiscard]] std::string_view nameOf(const Slot& slot) const {
    return std::string_view(text_).substr(slot.offset, slot.length);
  }

  std::string text_;
  std::vector<Slot> slots_;
};

// Lists an open folder. Fails unless it was listed whole.
Result<NameList> listNames(FileCalls& files, int folder);

}  // namespace lumisk
