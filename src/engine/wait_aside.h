#pragma once

#include <functional>

#include "platform/result.h"

namespace lumisk {

// Has work done that the system cannot be asked to give up, as bringing data to a slow disk, and waits for it no longer
// than `mustStop` lets it: after that it is the error ECANCELED, and the work goes on by itself, on a thread of its
// own, with all that it holds. What it holds must therefore be its own or last as long as the process.
Result<void> waitAside(std::function<Result<void>()> work, const std::function<bool()>& mustStop);

}  // namespace lumisk
