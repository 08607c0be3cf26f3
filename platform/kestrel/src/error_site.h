// Turns libyang's complaints into one error that names the file and the line.
#ifndef KESTREL_SRC_ERROR_SITE_H_
#define KESTREL_SRC_ERROR_SITE_H_

#include <string>
#include <vector>

#include "kestrel/loader.h"
#include "libyang_log.h"
#include "module_texts.h"

namespace kestrel {

// The first of `messages` is the cause; those behind it tell whose import or include led there.
// `fallback_file` stands in when no message names a place.
LoadError explain(const std::vector<LibyangLog::Message>& messages, const ProvidedFiles& files,
                  const std::string& fallback_file);

}  // namespace kestrel

#endif  // KESTREL_SRC_ERROR_SITE_H_
