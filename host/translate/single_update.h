// One update by itself, from the message to the document: what a server does with each update of a
// Set, for those who have no server.
#ifndef HOST_TRANSLATE_SINGLE_UPDATE_H_
#define HOST_TRANSLATE_SINGLE_UPDATE_H_

#include "gnmi.pb.h"
#include "model/resolver.h"
#include "translate/translate.h"

namespace nexa::translate {

enum class Operation { kUpdate, kReplace };

// Checks the update, resolves its path below `prefix`, and translates its value. The texts of the
// request checks are the library's and stand alone; every other message has the operation and the
// path in front. `resolver` and `translator` are of one schema and mode. Any thread.
Translation translate_update(const model::Resolver& resolver, Translator& translator,
                             const gnmi::Path& prefix, const gnmi::Update& update,
                             Operation operation, bool explain = false);

}  // namespace nexa::translate

#endif  // HOST_TRANSLATE_SINGLE_UPDATE_H_
