// A failed bind shows as a failed step.
#include "store/log/sqlite.h"

namespace nexa::store {
namespace {

sqlite3_file* file_below(sqlite3* database, int operation) {
  sqlite3_file* file = nullptr;
  if (sqlite3_file_control(database, "main", operation, &file) != SQLITE_OK) return nullptr;
  return file != nullptr && file->pMethods != nullptr ? file : nullptr;
}

}  // namespace

Statement::Statement(sqlite3* database, const std::string& sql, bool kept) {
  sqlite3_stmt* statement = nullptr;
  failure_ = sqlite3_prepare_v3(database, sql.c_str(), static_cast<int>(sql.size()) + 1,
                                kept ? SQLITE_PREPARE_PERSISTENT : 0U, &statement, nullptr);
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

int Statement::run() {
  const int result = step();
  reset();
  // A failure to bind is of this run only.
  if (statement_ != nullptr) failure_ = SQLITE_OK;
  return result == SQLITE_DONE || result == SQLITE_ROW ? SQLITE_OK : result;
}

std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

bool Statement::has_value(int column) const {
  return sqlite3_column_type(statement_.get(), column) != SQLITE_NULL;
}

std::string_view Statement::view(int column) const {
  const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(statement_.get(), column));
  const int size = sqlite3_column_bytes(statement_.get(), column);
  return bytes != nullptr ? std::string_view(bytes, static_cast<std::size_t>(size))
                          : std::string_view();
}

std::string Statement::text(int column) const { return std::string(view(column)); }

int execute(sqlite3* database, const char* sql) {
  return sqlite3_exec(database, sql, nullptr, nullptr, nullptr);
}

std::int64_t integer_of(sqlite3* database, const char* sql, std::int64_t otherwise) {
  Statement row(database, sql);
  return row.step() == SQLITE_ROW && row.has_value(0) ? row.integer(0) : otherwise;
}

sqlite3_file* database_file(sqlite3* database) {
  return file_below(database, SQLITE_FCNTL_FILE_POINTER);
}

sqlite3_file* journal_file(sqlite3* database) {
  return file_below(database, SQLITE_FCNTL_JOURNAL_POINTER);
}

}  // namespace nexa::store
