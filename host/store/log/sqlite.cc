// A failed bind shows as a failed step.
#include "store/log/sqlite.h"

namespace nexa::host {

Statement::Statement(sqlite3* database, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  failure_ = sqlite3_prepare_v2(database, sql, -1, &statement, nullptr);
  statement_.reset(statement);
}

Statement& Statement::bind(int position, std::int64_t value) {
  if (failure_ == SQLITE_OK) failure_ = sqlite3_bind_int64(statement_.get(), position, value);
  return *this;
}

Statement& Statement::bind(int position, std::string_view text) {
  if (failure_ == SQLITE_OK) {
    failure_ =
        sqlite3_bind_text64(statement_.get(), position, text.data() != nullptr ? text.data() : "",
                            text.size(), SQLITE_STATIC, SQLITE_UTF8);
  }
  return *this;
}

Statement& Statement::bind_blob(int position, std::string_view bytes) {
  if (failure_ == SQLITE_OK) {
    failure_ =
        sqlite3_bind_blob64(statement_.get(), position, bytes.data() != nullptr ? bytes.data() : "",
                            bytes.size(), SQLITE_STATIC);
  }
  return *this;
}

int Statement::step() { return failure_ != SQLITE_OK ? failure_ : sqlite3_step(statement_.get()); }

void Statement::reset() {
  if (statement_ != nullptr) sqlite3_reset(statement_.get());
}

std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

std::string Statement::text(int column) const {
  const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(statement_.get(), column));
  const int size = sqlite3_column_bytes(statement_.get(), column);
  return bytes != nullptr ? std::string(bytes, static_cast<std::size_t>(size)) : std::string();
}

int execute(sqlite3* database, const char* sql) {
  return sqlite3_exec(database, sql, nullptr, nullptr, nullptr);
}

}  // namespace nexa::host
