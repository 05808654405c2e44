#include "core/base64.h"

#include <array>
#include <cstdint>

namespace zephyl::core {
namespace {

constexpr std::string_view kStandard = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kURL = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

constexpr std::array<int8_t, 256> decodingTable(std::string_view alphabet) {
  std::array<int8_t, 256> table{};
  table.fill(-1);
  for (size_t index = 0; index < alphabet.size(); ++index) {
    table[static_cast<unsigned char>(alphabet[index])] = static_cast<int8_t>(index);
  }
  return table;
}

constexpr auto kStandardDecoding = decodingTable(kStandard);
constexpr auto kURLDecoding = decodingTable(kURL);

}  // namespace

std::string base64Encode(std::string_view bytes, Base64Alphabet alphabet) {
  const std::string_view kAlphabet = alphabet == Base64Alphabet::kURL ? kURL : kStandard;
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  size_t index = 0;
  for (; index + 3 <= bytes.size(); index += 3) {
    const uint32_t group = static_cast<uint32_t>(static_cast<unsigned char>(bytes[index])) << 16 |
                           static_cast<uint32_t>(static_cast<unsigned char>(bytes[index + 1])) << 8 |
                           static_cast<unsigned char>(bytes[index + 2]);
    text += kAlphabet[group >> 18 & 63];
    text += kAlphabet[group >> 12 & 63];
    text += kAlphabet[group >> 6 & 63];
    text += kAlphabet[group & 63];
  }
  const size_t rest = bytes.size() - index;
  if (rest > 0) {
    uint32_t group = static_cast<uint32_t>(static_cast<unsigned char>(bytes[index])) << 16;
    if (rest == 2) group |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[index + 1])) << 8;
    text += kAlphabet[group >> 18 & 63];
    text += kAlphabet[group >> 12 & 63];
    if (rest == 2) text += kAlphabet[group >> 6 & 63];
    if (alphabet == Base64Alphabet::kStandard) text.append(rest == 2 ? 1 : 2, '=');
  }
  return text;
}

std::optional<std::string> base64Decode(std::string_view text, Base64Alphabet alphabet) {
  const auto& kDecoding = alphabet == Base64Alphabet::kURL ? kURLDecoding : kStandardDecoding;
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  uint32_t group = 0;
  int count = 0;
  size_t padding = 0;
  for (char character : text) {
    if (character == ' ' || character == '\n' || character == '\r' || character == '\t') continue;
    if (character == '=') {
      ++padding;
      continue;
    }
    const int8_t value = kDecoding[static_cast<unsigned char>(character)];
    if (value < 0 || padding > 0) return std::nullopt;  // a digit after padding is not base64
    group = group << 6 | static_cast<uint32_t>(value);
    if (++count == 4) {
      bytes += static_cast<char>(group >> 16 & 0xFF);
      bytes += static_cast<char>(group >> 8 & 0xFF);
      bytes += static_cast<char>(group & 0xFF);
      group = 0;
      count = 0;
    }
  }
  if (count == 1 || padding > 2) return std::nullopt;
  if (count == 2) bytes += static_cast<char>(group >> 4 & 0xFF);
  if (count == 3) {
    bytes += static_cast<char>(group >> 10 & 0xFF);
    bytes += static_cast<char>(group >> 2 & 0xFF);
  }
  return bytes;
}

}  // namespace zephyl::core
