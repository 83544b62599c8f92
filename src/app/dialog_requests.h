#pragma once

#include <optional>
#include <vector>

#include "app/dialog_item.h"
#include "platform/property_list.h"

namespace lumisk {

// The forms in which dialogs and what becomes of them travel between an instance and its windows. A dictionary from
// outside is never trusted: nothing for one that means nothing.
[[nodiscard]] PropertyList::Dictionary dictionaryOf(const DialogItem& item);
// As many as one message holds, with as many of the paths that are held back; the others come when these have gone.
[[nodiscard]] PropertyList::Array arrayOf(const std::vector<DialogItem>& items);
[[nodiscard]] std::optional<DialogItem> dialogItemOf(const PropertyList& dictionary);
[[nodiscard]] PropertyList::Dictionary dictionaryOf(const DialogAnswer& answer);
[[nodiscard]] std::optional<DialogAnswer> dialogAnswerOf(const PropertyList& dictionary);

}  // namespace lumisk
