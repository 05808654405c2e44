#include "ai/oauth_encoding.h"

#include <cstdint>

namespace zephyl::ai {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string percentDecode(std::string_view text) {
  std::string decoded;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+') {
      decoded += ' ';
    } else if (text[i] == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 &&
               hexValue(text[i + 2]) >= 0) {
      decoded += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
      i += 2;
    } else {
      decoded += text[i];
    }
  }
  return decoded;
}

}  // namespace

std::string base64URLEncode(std::string_view bytes) {
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  uint32_t buffer = 0;
  int bits = 0;
  for (unsigned char byte : bytes) {
    buffer = (buffer << 8) | byte;
    bits += 8;
    while (bits >= 6) {
      bits -= 6;
      out += kAlphabet[(buffer >> bits) & 0x3F];
    }
  }
  if (bits > 0) out += kAlphabet[(buffer << (6 - bits)) & 0x3F];
  return out;
}

std::optional<std::string> base64URLDecode(std::string_view text) {
  while (!text.empty() && text.back() == '=') text.remove_suffix(1);
  if (text.size() % 4 == 1) return std::nullopt;
  std::string out;
  uint32_t buffer = 0;
  int bits = 0;
  for (char c : text) {
    const size_t value = kAlphabet.find(c);
    if (value == std::string_view::npos) return std::nullopt;
    buffer = (buffer << 6) | static_cast<uint32_t>(value);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out += static_cast<char>((buffer >> bits) & 0xFF);
    }
  }
  return out;
}

std::string percentEncode(std::string_view text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
        c == '_' || c == '~') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 0xF];
    }
  }
  return out;
}

std::string formEncode(const std::vector<std::pair<std::string, std::string>>& fields) {
  std::string out;
  for (const auto& [name, value] : fields) {
    if (!out.empty()) out += '&';
    out += percentEncode(name) + "=" + percentEncode(value);
  }
  return out;
}

std::map<std::string, std::string> parseQuery(std::string_view query) {
  std::map<std::string, std::string> parameters;
  while (!query.empty()) {
    const size_t end = query.find('&');
    const std::string_view pair = query.substr(0, end);
    const size_t equals = pair.find('=');
    if (!pair.empty()) {
      parameters[percentDecode(pair.substr(0, equals))] =
          equals == std::string_view::npos ? "" : percentDecode(pair.substr(equals + 1));
    }
    if (end == std::string_view::npos) break;
    query.remove_prefix(end + 1);
  }
  return parameters;
}

}  // namespace zephyl::ai
