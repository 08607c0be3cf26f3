// Only the attributes are made here; before and after come as the store wrote them.
#include "hook/change_document.h"

#include "text/display.h"
#include "text/escape.h"
#include "text/utc_time.h"

namespace nexa::hook {
namespace {

// Control characters have no place in XML 1.0, not even escaped; they show as in a log line.
void append_attribute(const char* name, std::string_view value, std::string& out) {
  out.append(" ").append(name).append("=\"");
  text::append_xml_attribute(text::printable(value), out);
  out.push_back('"');
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
  append_attribute("time", text::utc_time_ns(change.time_ns), head_);
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
