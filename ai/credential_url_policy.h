// Where a credential may be sent: over https, or over plain http only to this
// computer (127.0.0.0/8, localhost, [::1]), for gateways and tests.
#pragma once

#include <string_view>

namespace zephyl::ai {

bool mayCarryCredential(std::string_view url);

}  // namespace zephyl::ai
