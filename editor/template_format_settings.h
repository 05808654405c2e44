// The date and time formats the user chose for templates and slash commands,
// read from the settings (`templateDateFormat`, `templateCustomDateFormat`,
// `templateTimeFormat`, `slashCommandDateFormat`, `slashCommandTimeFormat`).
#pragma once

#include <string>

#include "core/settings_store.h"
#include "editor/template_date_format.h"

namespace zephyl::editor {

struct TemplateFormatSettings {
  TemplateDateFormat templateDateFormat = TemplateDateFormat::kMonthDayYear;
  std::string templateCustomDateFormat;  // an ICU pattern; when set it wins over templateDateFormat
  TemplateTimeFormat templateTimeFormat = TemplateTimeFormat::kTwentyFourHour;
  TemplateDateFormat slashCommandDateFormat = TemplateDateFormat::kMonthDayYear;
  TemplateTimeFormat slashCommandTimeFormat = TemplateTimeFormat::kTwentyFourHour;

  // The current settings; a missing or unknown value keeps its default, and
  // settings that cannot be read at all give every default (logged).
  static TemplateFormatSettings read(core::SettingsStore& settings);
};

}  // namespace zephyl::editor
