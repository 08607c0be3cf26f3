// Each allocation of a commit fails, alone or with all that follow: a commit is whole or was none,
// its answer says which if there was memory for one, the store goes on, and a start over its folder
// finds what it served.
#include <functional>
#include <new>
#include <optional>

#include "store/store_fixture.h"
#include "support/replaced_new.h"

namespace {

enum class Failing : std::uint8_t { kOne, kAllFromThere };

// Of the thread that is under test: the store's own threads go on undisturbed.
thread_local int remaining = 0;  // allocations up to the one that fails; 0: none fails
thread_local bool all_fail = false;
thread_local Failing mode = Failing::kOne;

bool fails() {
  if (all_fail) return true;
  if (remaining == 0 || --remaining > 0) return false;
  all_fail = mode == Failing::kAllFromThere;
  return true;
}

class FailingAllocation {
 public:
  FailingAllocation(Failing which, int n) {
    nexa_test::set_new_fails(fails);
    mode = which;
    remaining = n;
  }
  ~FailingAllocation() {
    remaining = 0;
    all_fail = false;
  }
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  static bool has_fired() { return remaining == 0; }
};

}  // namespace

namespace nexa_test {
namespace {

constexpr char kTop[] = "/s:top";

class Watcher : public nexa::store::CommitWatcher {
 public:
  void committed(const std::shared_ptr<const nexa::store::CommitStep>& step) noexcept override {
    told_.push_back(step->after->number());
  }
  std::vector<std::uint64_t> told_ = reserved();

 private:
  static std::vector<std::uint64_t> reserved() {
    std::vector<std::uint64_t> numbers;
    numbers.reserve(10);
    return numbers;
  }
};

class StoreAllocations : public StoreTest, public testing::WithParamInterface<Failing> {
 protected:
  // What the store serves, and what a start makes of its folder.
  std::string served() const { return read_text(*store_, kTop); }

  void expect_same_after_start(int n) {
    const std::string before = served();
    const std::uint64_t number = store_->snapshot()->number();
    open();
    ASSERT_NE(store_, nullptr) << error_ << ", n " << n;
    EXPECT_EQ(served(), before) << "n " << n;
    EXPECT_EQ(store_->snapshot()->number(), number) << "n " << n;
  }

  // Nothing when there was no memory for an answer. What the store does not know then it finds out
  // before anything else is done.
  std::optional<CommitResult> run_failing(int n, const std::function<CommitResult()>& work) {
    std::optional<CommitResult> result;
    {
      const FailingAllocation failing(GetParam(), n);
      try {
        result = work();
      } catch (const std::bad_alloc&) {
        EXPECT_EQ(GetParam(), Failing::kAllFromThere) << "n " << n;
      }
      has_fired_ = FailingAllocation::has_fired();
    }
    if (!result) {
      EXPECT_FALSE(store_->confirm("nothing of this name").ok());
    }
    return result;
  }

  // Runs `work` with the n-th allocation failing, n = 1, 2 and so on until there is none, each time
  // over what `prepare` makes. Returns how many there were.
  int sweep(const std::function<void()>& prepare, const std::function<CommitResult()>& work) {
    prepare();
    const std::string old = served();
    EXPECT_TRUE(work().status.ok());
    const std::string wanted = served();
    EXPECT_NE(old, wanted);
    for (int n = 1;; ++n) {
      prepare();
      EXPECT_EQ(served(), old) << "n " << n;
      const std::uint64_t number = store_->snapshot()->number();
      Watcher watcher;
      store_->watch(watcher);
      const std::optional<CommitResult> result = run_failing(n, work);
      store_->unwatch(watcher);
      const bool is_there = store_->snapshot()->number() == number + 1;
      EXPECT_TRUE(is_there || store_->snapshot()->number() == number) << "n " << n;
      EXPECT_EQ(served(), is_there ? wanted : old) << "n " << n;
      EXPECT_EQ(watcher.told_,
                is_there ? std::vector<std::uint64_t>{number + 1} : std::vector<std::uint64_t>())
          << "n " << n;
      if (result && result->status.ok()) {
        EXPECT_TRUE(is_there) << "n " << n;
        EXPECT_EQ(result->number, number + 1) << "n " << n;
      } else if (result) {
        EXPECT_FALSE(is_there) << "n " << n;
        EXPECT_EQ(result->status.error_code(), grpc::StatusCode::RESOURCE_EXHAUSTED)
            << result->status.error_message() << ", n " << n;
      }
      expect_same_after_start(n);
      if (!has_fired_ || HasFailure()) return n - 1;
    }
  }

  // Made before anything fails.
  static CommitRequest request_of(std::vector<Edit> edits) {
    CommitRequest request;
    request.edits = std::move(edits);
    request.author = "tester";
    return request;
  }

  bool has_fired_ = false;

  void put_name(const char* name) {
    ASSERT_EQ(commit_text({put(kTop, std::string("<name>") + name + "</name>")}), "");
  }
};

TEST_P(StoreAllocations, OfAnUpdate) {
  const CommitRequest request = request_of(
      {update("<name>a name that is longer than what a string holds itself</name>"
              "<speed>7</speed><port><id>one</id><note>n</note></port>"
              "<port><id>two</id><peer>one</peer></port><rule><id>1</id><text>t</text></rule>"
              "<tag>x</tag><order>3</order><box><lid>l</lid></box>")});
  const int count = sweep([this] { put_name("old"); }, [&] { return store_->commit(request); });
  EXPECT_GT(count, 50);
}

TEST_P(StoreAllocations, OfAReplaceAndADelete) {
  const auto prepare = [this] {
    ASSERT_EQ(commit_text({put(kTop,
                               "<name>old</name><port><id>one</id><inner><deep>d</deep></inner>"
                               "</port><rule><id>1</id></rule><rule><id>2</id></rule>")}),
              "");
  };
  const CommitRequest request =
      request_of({drop("/s:top/port[id=one]"),
                  put("/s:top/rule[id=1]", "<rule><id>1</id><text>new</text></rule>")});
  EXPECT_GT(sweep(prepare, [&] { return store_->commit(request); }), 50);
}

TEST_P(StoreAllocations, OfACommitThatWaitsForItsConfirmation) {
  CommitRequest request = request_of({update("<name>new</name>")});
  request.confirm_id = "an identifier that is not short";
  request.confirm_within = std::chrono::hours(1);
  const auto prepare = [&] {
    if (store_->pending()) {
      ASSERT_TRUE(store_->confirm(request.confirm_id).ok());
    }
    put_name("old");
  };
  EXPECT_GT(sweep(prepare, [&] { return store_->commit(request); }), 50);
}

TEST_P(StoreAllocations, OfARollback) {
  put_name("new");
  const std::uint64_t target = store_->snapshot()->number();
  const decltype(CommitRequest::approve) approve;
  const int count = sweep([this] { put_name("old"); },
                          [&] { return store_->rollback(target, "tester", approve); });
  EXPECT_GT(count, 50);
}

TEST_P(StoreAllocations, OfARefusedUpdate) {
  put_name("old");
  const std::string old = served();
  const CommitRequest request = request_of({update("<limits><low>5</low><high>1</high></limits>")});
  for (int n = 1;; ++n) {
    const auto result = run_failing(n, [&] { return store_->commit(request); });
    EXPECT_FALSE(result && result->status.ok()) << "n " << n;
    EXPECT_EQ(served(), old) << "n " << n;
    ASSERT_EQ(commit_text({update("<speed>7</speed>")}), "") << "n " << n;
    ASSERT_EQ(commit_text({drop("/s:top/speed")}), "") << "n " << n;
    if (!has_fired_) break;
  }
  expect_same_after_start(0);
}

INSTANTIATE_TEST_SUITE_P(All, StoreAllocations,
                         testing::Values(Failing::kOne, Failing::kAllFromThere),
                         [](const auto& tested) {
                           return tested.param == Failing::kOne ? "Alone" : "WithAllLater";
                         });

}  // namespace
}  // namespace nexa_test
