#pragma once

#include "helper/bas_helper_tool.h"

namespace lumisk {

// One request from its first byte to what is done after its response. Owns the connection.
void serveHelperConnection(const HelperTool& tool, Descriptor connection, const HelperPeer& peer);

// The response of a helper that has too much to do; never waits.
void refuseHelperConnection(Descriptor connection);

}  // namespace lumisk
