// What the process of a case tells its parent: operations before they are done, the outcome at the
// end. Plain text, parts with their length in front.
#ifndef TESTS_STORE_CASE_MESSAGES_H_
#define TESTS_STORE_CASE_MESSAGES_H_

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "store/random_case.h"

namespace nexa_test {

inline void add_part(const std::string& part, std::string& text) {
  text += std::to_string(part.size()) + " " + part;
}

inline std::string take_part(const std::string& text, std::size_t& at) {
  char* end = nullptr;
  const std::size_t size = std::strtoul(text.c_str() + at, &end, 10);
  const auto begin = static_cast<std::size_t>(end - text.c_str()) + 1;
  if (begin + size > text.size()) {
    at = text.size();
    return "";
  }
  at = begin + size;
  return text.substr(begin, size);
}

inline void write_all(int pipe, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = write(pipe, text.data() + done, text.size() - done);
    if (count <= 0) return;
    done += static_cast<std::size_t>(count);
  }
}

inline void add_edits(const std::vector<nexa::store::Edit>& edits, std::string& text) {
  add_part(std::to_string(edits.size()), text);
  for (const nexa::store::Edit& edit : edits) {
    add_part(std::to_string(static_cast<int>(edit.kind)), text);
    add_part(edit.target.path.SerializeAsString(), text);
    add_part(edit.xml, text);
  }
}

inline std::uint64_t take_number(const std::string& text, std::size_t& at) {
  return std::strtoull(take_part(text, at).c_str(), nullptr, 10);
}

inline std::vector<nexa::store::Edit> take_edits(const std::string& text, std::size_t& at) {
  std::vector<nexa::store::Edit> edits(static_cast<std::size_t>(take_number(text, at)));
  for (nexa::store::Edit& edit : edits) {
    edit.kind = static_cast<nexa::store::Edit::Kind>(take_number(text, at));
    edit.target.path.ParseFromString(take_part(text, at));
    edit.xml = take_part(text, at);
  }
  return edits;
}

inline void tell(int pipe, const StoreOperation& operation) {
  std::string text = "O";
  add_part(std::to_string(static_cast<int>(operation.kind)), text);
  add_part(std::to_string(operation.back), text);
  add_edits(operation.edits, text);
  write_all(pipe, text);
}

inline void tell_loaded(int pipe) { write_all(pipe, "L"); }

inline void tell(int pipe, const CaseOutcome& outcome) {
  std::string text = "E";
  for (const std::uint64_t number :
       {outcome.sets, outcome.accepted, outcome.refused, outcome.crashes, outcome.hazards,
        outcome.uncertain, outcome.restarts, outcome.rollbacks}) {
    add_part(std::to_string(number), text);
  }
  add_part(outcome.kind, text);
  add_part(outcome.details, text);
  write_all(pipe, text);
}

inline void hear(const std::string& text, CaseOutcome& outcome) {
  std::size_t at = 0;
  while (at < text.size()) {
    const char what = text[at++];
    if (what == 'L') {
      outcome.is_loaded = true;
      continue;
    }
    if (what == 'E') {
      for (std::uint64_t* const count :
           {&outcome.sets, &outcome.accepted, &outcome.refused, &outcome.crashes, &outcome.hazards,
            &outcome.uncertain, &outcome.restarts, &outcome.rollbacks}) {
        *count = take_number(text, at);
      }
      outcome.kind = take_part(text, at);
      outcome.details = take_part(text, at);
      continue;
    }
    StoreOperation operation;
    operation.kind = static_cast<StoreOperation::Kind>(take_number(text, at));
    operation.back = take_number(text, at);
    operation.edits = take_edits(text, at);
    outcome.operations.push_back(std::move(operation));
  }
}

}  // namespace nexa_test

#endif  // TESTS_STORE_CASE_MESSAGES_H_
