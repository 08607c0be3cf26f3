// nexa history: what was committed to a data directory, also while a server works on it.
#include <cjson/cJSON.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "data_options.h"
#include "json_writer.h"
#include "option_checks.h"
#include "pretty_xml.h"
#include "status_output.h"
#include "store/log/commit_log.h"
#include "text/display.h"
#include "text/utc_time.h"

namespace nexa_tool {
namespace {

using nexa::store::CommitLog;
using nexa::store::CommitRecord;

constexpr char kHistoryExamples[] = R"(EXAMPLES
  nexa history --data /var/lib/nexad --limit 10
  nexa history --data /var/lib/nexad --show 7

  The list names the newest commit first: number, time, author, bytes of the
  change, comment. --show prints what a commit changed, as a YANG difference:
  each node carries an operation.

EXIT STATUS
  0 done    1 the log cannot be read, or has no such commit    2 wrong usage)";

struct HistoryOptions {
  std::string directory;
  std::size_t limit = 0;
  std::uint64_t show = 0;
  bool json = false;
};

std::string as_text(const std::vector<CommitRecord>& records) {
  std::vector<std::array<std::string, 4>> rows{{"NUMBER", "TIME", "AUTHOR", "BYTES"}};
  for (const CommitRecord& record : records) {
    rows.push_back({std::to_string(record.number), nexa::text::utc_time_ns(record.time_ns),
                    record.author.empty() ? "-" : nexa::text::printable(record.author),
                    std::to_string(record.change_bytes)});
  }
  std::array<std::size_t, 4> widths{};
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (std::size_t line = 0; line < rows.size(); ++line) {
    for (std::size_t i = 0; i < widths.size(); ++i) {
      text.append(rows[line][i]).append(widths[i] - rows[line][i].size() + 2, ' ');
    }
    text.append(line == 0 ? "COMMENT" : nexa::text::printable(records[line - 1].comment));
    text.erase(text.find_last_not_of(' ') + 1);
    text.push_back('\n');
  }
  return text;
}

std::string as_json(const std::vector<CommitRecord>& records) {
  const JsonPtr list(cJSON_CreateArray());
  for (const CommitRecord& record : records) {
    JsonPtr item(cJSON_CreateObject());
    add_item(item.get(), "number", JsonPtr(cJSON_CreateNumber(static_cast<double>(record.number))));
    add_text(item.get(), "time", nexa::text::utc_time_ns(record.time_ns));
    add_text(item.get(), "author", record.author);
    add_text(item.get(), "comment", record.comment);
    add_item(item.get(), "bytes",
             JsonPtr(cJSON_CreateNumber(static_cast<double>(record.change_bytes))));
    add_item(list.get(), "", std::move(item));
  }
  return to_text(list.get());
}

int fail(const nexa::text::Failure& failure) {
  report_failure(failure);
  return kRefused;
}

int show(const CommitLog& log, const HistoryOptions& options, Session& session) {
  nexa::store::LogEntry entry;
  if (const auto done = log.entry(options.show, entry); !done.ok()) return fail(done.failure());
  const bool is_terminal = session.output.is_terminal();
  // A program gets every byte; a terminal nothing that it might take as a command.
  const std::string change =
      is_terminal ? nexa::text::printable_lines(entry.change) : std::move(entry.change);
  return session.output.write(pretty_xml(change, is_terminal)) ? kDone : kRefused;
}

int run_history(const HistoryOptions& options, Session& session) {
  nexa::store::LogOptions place;
  place.directory = options.directory;
  place.read_only = true;
  const auto opened = CommitLog::open(place);
  if (!opened.ok()) return fail(opened.failure());
  const CommitLog& log = *opened.value();
  if (options.show != 0) return show(log, options, session);
  std::vector<CommitRecord> records;
  const nexa::store::LogResult result = log.history(options.limit, records);
  if (!result.ok()) return fail(nexa::text::unusable("", result.text));
  const std::string text = options.json ? as_json(records) : as_text(records);
  return session.output.write(text) ? kDone : kRefused;
}

}  // namespace

void add_history_command(CLI::App& app, Session& session) {
  const auto options = std::make_shared<HistoryOptions>();
  CLI::App* command = app.add_subcommand("history");
  command->description(
      "List what was committed to a data directory\n\n"
      "Reads the log beside the server, which may go on working.");
  add_data_option(*command, options->directory);
  CLI::Option* const limit =
      command->add_option("--limit", options->limit, "List only the newest; 0 is all of them")
          ->check(whole_number(0))
          ->type_name("N")
          ->capture_default_str();
  CLI::Option* const shown =
      command->add_option("--show", options->show, "Print the change of one commit")
          ->check(whole_number(1))
          ->type_name("N");
  CLI::Option* const json = command->add_flag("--json", options->json, "List as JSON");
  shown->excludes(limit)->excludes(json);
  command->footer(kHistoryExamples);
  command->callback([options, &session] { session.exit_status = run_history(*options, session); });
}

}  // namespace nexa_tool
