#include "driver/privileges.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <tuple>

#include "tests/support/message_capture.h"

namespace {

// The kernel's rules for the set*id calls (an unprivileged process picks among its current ids, only root
// sets the groups), recording every set call; `fail_call` fails the call recorded with that text.
class fake_identity : public identity_calls {
 public:
  fake_identity(std::array<uid_t, 3> u, std::array<gid_t, 3> g) : uid(u), gid(g) {}
  int get_uids(uid_t& r, uid_t& e, uid_t& s) override { return r = uid[0], e = uid[1], s = uid[2], 0; }
  int get_gids(gid_t& r, gid_t& e, gid_t& s) override { return r = gid[0], e = gid[1], s = gid[2], 0; }
  int set_uids(uid_t r, uid_t e, uid_t s) override { return set("setresuid", uid, {r, e, s}); }
  int set_gids(gid_t r, gid_t e, gid_t s) override { return set("setresgid", gid, {r, e, s}); }
  int get_groups(std::vector<gid_t>& list) override { return list = groups, 0; }
  int set_groups(const std::vector<gid_t>& list) override {
    return allowed("setgroups", uid[1] == 0) ? (groups = list, 0) : -1;
  }

  std::array<uid_t, 3> uid;
  std::array<gid_t, 3> gid;
  std::vector<gid_t> groups{100, 20};
  std::vector<std::string> calls;
  std::string fail_call;
  bool anything_goes = false;  // a broken kernel: every switch allowed

 private:
  bool allowed(const std::string& call, bool permitted) {
    calls.push_back(call);
    if (call == fail_call || !(permitted || anything_goes)) return errno = EPERM, false;
    return true;
  }
  template <typename Id>
  int set(std::string call, std::array<Id, 3>& ids, std::array<Id, 3> wanted) {
    bool permitted = true;
    for (int i = 0; i < 3; ++i) {
      call += (i == 0 ? "(" : ",") + (wanted[i] == Id(-1) ? "-" : std::to_string(wanted[i]));
      if (wanted[i] != Id(-1) && std::find(ids.begin(), ids.end(), wanted[i]) == ids.end() && uid[1] != 0)
        permitted = false;
    }
    if (!allowed(call + ")", permitted)) return -1;
    for (int i = 0; i < 3; ++i)
      if (wanted[i] != Id(-1)) ids[i] = wanted[i];
    return 0;
  }
};

using calls = std::vector<std::string>;
const calls drop_root = {"setresuid(-,0,-)", "setgroups", "setresgid(100,100,100)", "setresuid(1000,1000,1000)",
                         "setresuid(-,0,-)"};  // the last one fails: root cannot be taken back

// Start as the user, regain around the hardware, drop for good: the switches in order, the installed
// ids in effect only in between, nothing left after.
TEST(Privileges, SwitchesOfEachInstall) {
  const struct {
    std::array<uid_t, 3> uid;  // as exec leaves them
    std::array<gid_t, 3> gid;
    calls start, regain, drop;
  } installs[] = {
      {{1000, 1000, 1000}, {100, 100, 100}, {}, {}, {}},
      {{0, 0, 0}, {0, 0, 0}, {}, {}, {}},
      {{1000, 0, 0}, {100, 100, 100}, {"setresgid(-,100,-)", "setresuid(-,1000,-)"},
       {"setresuid(-,0,-)", "setresgid(-,100,-)"}, drop_root},
      {{1000, 0, 0}, {100, 7, 7}, {"setresgid(-,100,-)", "setresuid(-,1000,-)"},
       {"setresuid(-,0,-)", "setresgid(-,7,-)"}, drop_root},
      {{1000, 1000, 1000}, {100, 7, 7}, {"setresgid(-,100,-)", "setresuid(-,1000,-)"},
       {"setresuid(-,1000,-)", "setresgid(-,7,-)"},
       {"setresgid(100,100,100)", "setresuid(1000,1000,1000)", "setresgid(-,7,-)"}},
  };
  for (auto row : installs) {
    SCOPED_TRACE(row.uid[1] * 1000 + row.gid[1]);
    fake_identity kernel(row.uid, row.gid);
    privileges p(kernel);
    p.start_as_real_user();
    EXPECT_EQ(std::tie(kernel.calls, kernel.uid[1], kernel.gid[1]), std::tie(row.start, row.uid[0], row.gid[0]));
    kernel.calls.clear();
    p.regain();
    EXPECT_EQ(std::tie(kernel.calls, kernel.uid[1], kernel.gid[1]), std::tie(row.regain, row.uid[1], row.gid[1]));
    kernel.calls.clear();
    p.drop();
    if (row.gid[1] == 7 && row.uid[1] == 0) row.drop.push_back("setresgid(-,7,-)");
    EXPECT_EQ(kernel.calls, row.drop);
    EXPECT_EQ(kernel.uid, (std::array<uid_t, 3>{row.uid[0], row.uid[0], row.uid[0]}));
    EXPECT_EQ(kernel.gid, (std::array<gid_t, 3>{row.gid[0], row.gid[0], row.gid[0]}));
    EXPECT_EQ(kernel.groups, (std::vector<gid_t>{100, 20}));  // the user's own groups stay
    kernel.calls.clear();
    p.regain();
    p.drop();
    EXPECT_TRUE(kernel.calls.empty());  // given up for good, once
  }
}

TEST(Privileges, FailedSwitchStopsTheRun) {
  const std::string refused = "Operation not permitted\n";
  const struct {
    const char* fail_call;  // "": a broken kernel that lets every switch through
    int failing_step;       // 0 start, 1 regain, 2 drop
    std::string message;
  } failures[] = {
      {"setresuid(-,1000,-)", 0, "Can't drop privileges\n" + refused},
      {"setresuid(-,0,-)", 1, "Can't regain privileges\n" + refused},
      {"setgroups", 2, "Can't drop privileges\n" + refused},
      {"setresgid(100,100,100)", 2, "Can't drop privileges\n" + refused},
      {"setresuid(1000,1000,1000)", 2, "Can't drop privileges\n" + refused},
      {"", 2, "Can't drop privileges\n\n"},  // root could still be taken back
  };
  for (const auto& row : failures) {
    SCOPED_TRACE(row.fail_call);
    fake_identity kernel({1000, 0, 0}, {100, 100, 100});
    kernel.fail_call = row.fail_call;
    kernel.anything_goes = *row.fail_call == '\0';
    privileges p(kernel);
    message_capture capture;
    void (privileges::*const steps[])() = {&privileges::start_as_real_user, &privileges::regain, &privileges::drop};
    int step = 0, code = 0;
    try {
      for (; step < 3; ++step) (p.*steps[step])();
    } catch (const app_error& e) {
      report(0, "%s\n", e.what());
      code = e.code;
    }
    EXPECT_EQ(std::make_tuple(step, code, capture.text()), std::make_tuple(row.failing_step, 70, row.message));
    EXPECT_TRUE(row.failing_step != 1 || kernel.uid[1] == 1000u) << "a failed regain goes back to the user";
  }
}

}  // namespace
