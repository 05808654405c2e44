// JSON of decoded note bodies, shared by `show --json` and `debug decode-body`.
#pragma once

#include <vector>

#include "cli/json_writer.h"
#include "notes_store/note_body_decoder.h"

namespace zephyl::cli {

// [{length, style}] where style is the literal prefix ("## "), "code", or null.
inline void writeLineStyles(JsonWriter& json,
                            const std::vector<notes_store::NotesDatabaseLineStyle>& styles) {
  json.beginArray();
  for (const auto& style : styles) {
    json.beginObject();
    json.key("length").value(style.length);
    json.key("style");
    if (!style.style) {
      json.null();
    } else if (style.style->isCode()) {
      json.value("code");
    } else {
      json.value(style.style->prefix());
    }
    json.endObject();
  }
  json.endArray();
}

}  // namespace zephyl::cli
