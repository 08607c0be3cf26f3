// The server's log: lines on standard error, one for each event, in a form that journald and a
// terminal both take.
#ifndef APPS_NEXAD_LOG_H_
#define APPS_NEXAD_LOG_H_

#include <string>
#include <string_view>

namespace nexad {

// "debug", "info", "warning" or "error".
bool is_log_level(std::string_view level);

// Opens the log and sends into it what gRPC and the library write with gpr_log, and protobuf's
// lines, with the whole file name of each; what the libraries tell as errors that are none, or that
// the server tells better, is at "debug". Where standard error is a stream to the journal, lines
// carry their priority and no time: the journal has its own. Above "debug" the libraries' lines are
// limited (line_limit.h). Not thread-safe; later calls change the level.
void start_log(const std::string& level);

// Lines before start_log() are lost. Control characters in a line are shown, not written: nothing
// that a client sends can forge a line. Any thread.
void log_debug(std::string_view line);
void log_info(std::string_view line);
void log_warning(std::string_view line);
void log_error(std::string_view line);

// Written whatever the level is, under the name "audit".
void log_audit(std::string_view line);

// The same of a login that failed, and a warning of a TLS handshake that did. Strangers decide how
// many there are, so each kind has a limit of its own (line_limit.h).
void log_failed_login(std::string_view line);
void log_failed_handshake(std::string_view line);

// The text with every control character as \n, \t or \xNN; of more than 8 KiB the beginning and
// how much follows.
std::string one_line(std::string_view text);

}  // namespace nexad

#endif  // APPS_NEXAD_LOG_H_
