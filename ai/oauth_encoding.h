// The encodings OAuth sign-in needs beside base64url (core/base64):
// percent-encoding of query and form values, and reading a query string.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zephyl::ai {

// Every byte but the unreserved ones (RFC 3986) as %XX.
std::string percentEncode(std::string_view text);
// "a=1&b=2" from the pairs, values percent-encoded: a query or a form body.
std::string formEncode(const std::vector<std::pair<std::string, std::string>>& fields);
// The parameters of a query ("a=1&b=%20"), '+' read as a blank; the last of a repeated name wins.
std::map<std::string, std::string> parseQuery(std::string_view query);

}  // namespace zephyl::ai
