// Only the attributes are made here; before and after come as the store wrote them.
#include "hook/change_document.h"

#include <cinttypes>
#include <cstdio>
#include <ctime>

#include "text/display.h"
#include "text/escape.h"

namespace nexa::hook {
namespace {

// Control characters have no place in XML 1.0, not even escaped; they show as in a log line.
void append_attribute(const char* name, std::string_view value, std::string& out) {
  out.append(" ").append(name).append("=\"");
  text::append_xml_attribute(text::printable(value), out);
  out.push_back('"');
}

// RFC 3339, UTC, with nanoseconds.
std::string time_text(std::int64_t time_ns) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  const auto seconds = static_cast<std::time_t>(time_ns / kSecond);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[64];
  const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text + size, sizeof text - size, ".%09" PRId64 "Z", time_ns % kSecond);
  return text;
}

// An XML declaration may only open a document.
std::string_view without_declaration(std::string_view xml) {
  if (!xml.starts_with("<?xml")) return xml;
  const auto end = xml.find("?>");
  return end == std::string_view::npos ? xml : xml.substr(end + 2);
}

}  // namespace

ChangeDocument::ChangeDocument(const store::Change& change, const char* reason)
    : head_(R"(<commit xmlns="urn:nexa:params:xml:ns:commit:1.0")") {
  append_attribute("number", std::to_string(change.number), head_);
  append_attribute("author", change.author, head_);
  append_attribute("time", time_text(change.time_ns), head_);
  append_attribute("reason", reason, head_);
  head_.push_back('>');
  pieces_ = {head_,
             "<before>",
             without_declaration(change.before),
             "</before>",
             "<after>",
             without_declaration(change.after),
             "</after></commit>\n"};
}

}  // namespace nexa::hook
