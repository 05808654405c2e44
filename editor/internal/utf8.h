// UTF-8 to code points and back. Invalid bytes decode as U+FFFD, one per byte,
// so typed input can never stall the trigger buffer.
#pragma once

#include <string>
#include <string_view>

namespace zephyl::editor::internal {

std::u32string decodeUtf8(std::string_view text);
std::string encodeUtf8(std::u32string_view text);

}  // namespace zephyl::editor::internal
