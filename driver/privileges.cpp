#include "driver/privileges.h"

#include <grp.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "driver/messages.h"

identity_calls::~identity_calls() = default;

namespace {

const uid_t same_uid = static_cast<uid_t>(-1);
const gid_t same_gid = static_cast<gid_t>(-1);

class system_calls : public identity_calls {
 public:
  int get_uids(uid_t& real, uid_t& effective, uid_t& saved) override { return getresuid(&real, &effective, &saved); }
  int get_gids(gid_t& real, gid_t& effective, gid_t& saved) override { return getresgid(&real, &effective, &saved); }
  int set_uids(uid_t real, uid_t effective, uid_t saved) override { return setresuid(real, effective, saved); }
  int set_gids(gid_t real, gid_t effective, gid_t saved) override { return setresgid(real, effective, saved); }
  int get_groups(std::vector<gid_t>& groups) override {
    const int count = getgroups(0, nullptr);
    if (count < 0) return -1;
    groups.resize(static_cast<size_t>(count));
    const int listed = getgroups(count, groups.data());
    if (listed < 0) return -1;
    groups.resize(static_cast<size_t>(listed));
    return 0;
  }
  int set_groups(const std::vector<gid_t>& groups) override { return setgroups(groups.size(), groups.data()); }
};

std::vector<gid_t> sorted(std::vector<gid_t> groups) {
  std::sort(groups.begin(), groups.end());
  return groups;
}

}  // namespace

identity_calls& system_identity_calls() {
  static system_calls calls;
  return calls;
}

void privileges::learn() {
  if (known) return;
  uid_t saved_uid = 0;
  gid_t saved_gid = 0;
  // Right after exec the effective ids are the installed identity.
  if (calls.get_uids(real_uid, installed_uid, saved_uid) != 0 ||
      calls.get_gids(real_gid, installed_gid, saved_gid) != 0)
    fail_switch("Can't drop privileges\n");
  known = true;
  started_elevated = installed_uid != real_uid || saved_uid != real_uid || installed_gid != real_gid ||
                     saved_gid != real_gid;
  if (started_elevated && calls.get_groups(user_groups) != 0) fail_switch("Can't drop privileges\n");
}

bool privileges::elevated() {
  learn();
  return started_elevated;
}

bool privileges::guarding_user() { return elevated() && real_uid != 0; }

void privileges::start_as_real_user() {
  if (!elevated()) return;
  if (calls.set_gids(same_gid, real_gid, same_gid) != 0 || calls.set_uids(same_uid, real_uid, same_uid) != 0)
    fail_switch("Can't drop privileges\n");
  uid_t r, e, s;
  gid_t gr, ge, gs;
  if (calls.get_uids(r, e, s) != 0 || calls.get_gids(gr, ge, gs) != 0 || e != real_uid || ge != real_gid)
    fail_check();
}

void privileges::regain() {
  if (!elevated() || dropped) return;
  if (calls.set_uids(same_uid, installed_uid, same_uid) != 0 ||
      calls.set_gids(same_gid, installed_gid, same_gid) != 0) {
    const int reason = errno;
    calls.set_gids(same_gid, real_gid, same_gid);  // back to the user as far as that goes
    calls.set_uids(same_uid, real_uid, same_uid);
    errno = reason;
    fail_switch("Can't regain privileges\n");
  }
}

void privileges::drop() {
  if (!elevated() || dropped) return;
  dropped = true;
  // Set-uid does not change the supplementary groups: they are the caller's
  // own, and a plain run would have them too, so they are kept, not cleared.
  // They are set once more while root, though, so that no group the process
  // may have been given while it held root's rights outlives the drop.
  if (installed_uid == 0 &&
      (calls.set_uids(same_uid, installed_uid, same_uid) != 0 || calls.set_groups(user_groups) != 0))
    fail_switch("Can't drop privileges\n");
  if (calls.set_gids(real_gid, real_gid, real_gid) != 0 || calls.set_uids(real_uid, real_uid, real_uid) != 0)
    fail_switch("Can't drop privileges\n");

  uid_t r, e, s;
  gid_t gr, ge, gs;
  if (calls.get_uids(r, e, s) != 0 || calls.get_gids(gr, ge, gs) != 0) fail_check();
  if (r != real_uid || e != real_uid || s != real_uid || gr != real_gid || ge != real_gid || gs != real_gid)
    fail_check();
  std::vector<gid_t> groups;
  if (installed_uid == 0 && (calls.get_groups(groups) != 0 || sorted(groups) != sorted(user_groups))) fail_check();
  // Root can take any identity back at will; anyone else must no longer be able to.
  if (real_uid != 0) {
    if (installed_uid != real_uid && calls.set_uids(same_uid, installed_uid, same_uid) == 0) fail_check();
    if (installed_gid != real_gid && calls.set_gids(same_gid, installed_gid, same_gid) == 0) fail_check();
  }
}

void privileges::fail_switch(const char* message) {
  const int reason = errno;
  report(0, "%s", message);
  errno = reason;
  throw rtl_error(status_usage);
}

void privileges::fail_check() { fail(status_usage, "Can't drop privileges\n"); }

privileges& process_privileges() {
  static privileges process(system_identity_calls());
  return process;
}

void switch_to_real_user() { process_privileges().start_as_real_user(); }
void regain_privileges() { process_privileges().regain(); }
void drop_privileges() { process_privileges().drop(); }
bool guarding_user() { return process_privileges().guarding_user(); }
