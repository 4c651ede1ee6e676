/// @file
/// Tests that become another user, in a child.
#pragma once

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

/// Whether a child of this process could become the user: as root, but not in a user namespace that
/// has no such user.
inline bool canBecome(uid_t user)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(::setgid(user) == 0 && ::setuid(user) == 0 ? 0 : 1);
    }
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
