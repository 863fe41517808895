#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

namespace marlet {

// While this lives, permissions hold for this process: where it runs as the superuser it steps down to nobody's rights,
// so what a test lets it use must be open to others. For tests of one thread.
class OrdinaryUser {
public:
    OrdinaryUser() : isSuperuser(::geteuid() == 0) {
        constexpr uid_t nobody = 65534;
        EXPECT_EQ(isSuperuser ? ::seteuid(nobody) : 0, 0);
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    ~OrdinaryUser() { EXPECT_EQ(isSuperuser ? ::seteuid(0) : 0, 0); }

private:
    bool isSuperuser;
};

}  // namespace marlet
