// The identities of a set-uid (or set-gid) install: the program runs as its
// real user from the start of main; only the opening of the hardware (I/O port
// permissions, the parport device, the D2XX listing and opening) takes the
// installed rights back, and drop_privileges() then gives them up for good.
// Used by the program entry, lpt/ and ftdi/.
#pragma once

#include <sys/types.h>

#include <vector>

// The system calls behind every switch of identity; abstract so it can be
// mocked out for tests. Each returns 0 on success, else -1 with errno set;
// a value of -1 passed to set_uids/set_gids leaves that id unchanged.
class identity_calls {
 public:
  virtual ~identity_calls();
  virtual int get_uids(uid_t& real, uid_t& effective, uid_t& saved) = 0;
  virtual int get_gids(gid_t& real, gid_t& effective, gid_t& saved) = 0;
  virtual int set_uids(uid_t real, uid_t effective, uid_t saved) = 0;
  virtual int set_gids(gid_t real, gid_t effective, gid_t saved) = 0;
  virtual int get_groups(std::vector<gid_t>& groups) = 0;
  virtual int set_groups(const std::vector<gid_t>& groups) = 0;
};

identity_calls& system_identity_calls();  // setresuid, getresuid, setgroups, ...

// The identities a process was started with and the switches between them.
// A failed switch or check is reported at level 0 and thrown with status 70.
class privileges {
 public:
  explicit privileges(identity_calls& calls) : calls(calls) {}

  // Effective user and group become the real ones; the saved set-user-ID
  // (and set-group-ID) stays, so regain() can take the installed rights back.
  void start_as_real_user();
  // Effective ids back to the installed ones; nothing once dropped.
  void regain();
  // For good: supplementary groups, group, then user; then checks that no id
  // of the installed identity is left and that it cannot be regained. Later
  // calls do nothing.
  void drop();

  // Started with rights its real user does not have (set-uid or set-gid),
  // and that user is not root: what he names is opened with his own rights,
  // and the hardware he may reach is limited.
  bool guarding_user();

 private:
  void learn();
  bool elevated();  // started with rights its real user does not have
  [[noreturn]] void fail_switch(const char* message);
  [[noreturn]] void fail_check();

  identity_calls& calls;
  bool known = false;
  bool dropped = false;
  bool started_elevated = false;
  uid_t real_uid = 0, installed_uid = 0;
  gid_t real_gid = 0, installed_gid = 0;
  std::vector<gid_t> user_groups;  // the caller's own supplementary groups
};

privileges& process_privileges();  // the process's own, over the system calls

// The same on process_privileges(): the program entry and the hardware openings.
void switch_to_real_user();
void regain_privileges();
void drop_privileges();
bool guarding_user();

// Runs obtain() (which calls regain_privileges() where it needs the installed
// rights) and then drops them for good, also when it throws. When the drop
// itself fails, undo() gives back what obtain() got before that failure goes on.
template <typename Obtain, typename Undo>
void open_hardware(Obtain obtain, Undo undo) {
  try {
    obtain();
  } catch (...) {
    drop_privileges();
    throw;
  }
  try {
    drop_privileges();
  } catch (...) {
    undo();
    throw;
  }
}
