#include "editor/template_format_settings.h"

#include "core/error.h"
#include "core/logger.h"

namespace zephyl::editor {
namespace {

constexpr core::Logger kLog("NoteTemplateService");

template <typename Format, typename Parse>
void readFormat(core::SettingsStore& settings, const std::string& key, Format& target, Parse parse) {
  if (const auto name = settings.stringValue(key)) {
    if (const auto format = parse(*name)) target = *format;
  }
}

}  // namespace

TemplateFormatSettings TemplateFormatSettings::read(core::SettingsStore& settings) {
  TemplateFormatSettings formats;
  try {
    readFormat(settings, "templateDateFormat", formats.templateDateFormat, templateDateFormatFromName);
    readFormat(settings, "templateTimeFormat", formats.templateTimeFormat, templateTimeFormatFromName);
    readFormat(settings, "slashCommandDateFormat", formats.slashCommandDateFormat,
               templateDateFormatFromName);
    readFormat(settings, "slashCommandTimeFormat", formats.slashCommandTimeFormat,
               templateTimeFormatFromName);
    formats.templateCustomDateFormat = settings.stringValue("templateCustomDateFormat").value_or("");
  } catch (const core::Error& error) {
    kLog.warning() << "Could not read template formats: " << error.description();
    return TemplateFormatSettings{};
  }
  return formats;
}

}  // namespace zephyl::editor
