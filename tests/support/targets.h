// Resolvers over whatever schema is loaded, and paths resolved in one word.
#ifndef TESTS_SUPPORT_TARGETS_H_
#define TESTS_SUPPORT_TARGETS_H_

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kestrel/kestrel.h"
#include "model/resolver.h"

namespace nexa_test {

struct LoadedModel {
  nexa::model::Schema schema;
  nexa::model::Resolver tolerant{schema, nexa::model::Mode::kTolerant};
  nexa::model::Resolver strict{schema, nexa::model::Mode::kStrict};
};

// Of the loaded schema. Targets point to it, so earlier ones are kept.
inline const LoadedModel& loaded_model() {
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  static KestrelNsEntry* known = nullptr;
  static std::vector<std::unique_ptr<const LoadedModel>> models;
  KestrelNsEntry* list = nullptr;
  kestrel_get_nslist(&list);
  if (models.empty() || list != known) models.push_back(std::make_unique<const LoadedModel>());
  known = list;
  return *models.back();
}

// The target of a path that the schema has; fails the test for another.
inline nexa::model::Target target_of(const gnmi::Path& path,
                                     nexa::model::Purpose purpose = nexa::model::Purpose::kDelete) {
  auto target = loaded_model().tolerant.resolve(gnmi::Path(), path, purpose);
  if (target.ok()) return std::move(target.value());
  ADD_FAILURE() << target.failure().rule;
  return {};
}

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_TARGETS_H_
