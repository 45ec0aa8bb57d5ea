// Forked children for tests of what a file-size limit, a sudden death or missing permissions do
// to the files a process writes.
#ifndef ZEL_TEST_CHILD_H
#define ZEL_TEST_CHILD_H

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace ZelTest {

// Runs `body` in a forked child and returns its wait status (-1 when fork fails); with
// `killAfterUs` >= 0 the child gets SIGKILL after that many microseconds unless it ended. The
// child leaves through _exit(body()), so none of the parent's buffers or handlers run twice.
template <class Fn>
int inChild(Fn body, long killAfterUs = -1) {
    const pid_t pid = fork();
    if (pid == 0) {
        _exit(body());
    }
    if (pid > 0 && killAfterUs >= 0) {
        usleep(static_cast<useconds_t>(killAfterUs));
        kill(pid, SIGKILL);
    }
    int status = -1;
    while (pid > 0 && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

inline void killSelf(int) {
    kill(getpid(), SIGKILL);
}

// Limits the size of every file the process writes to `bytes`: a write past it fails with EFBIG,
// or, with `die`, kills the process right there with SIGKILL.
inline bool limitFileSize(rlim_t bytes, bool die) {
    const rlimit limit{bytes, bytes};
    return signal(SIGXFSZ, die ? killSelf : SIG_IGN) != SIG_ERR &&
           setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

// Gives up root (for user and group "nobody") so that permission bits apply; true when the
// process is not root (any more).
inline bool dropRoot() {
    return geteuid() != 0 || (setgid(65534) == 0 && setuid(65534) == 0);
}

// The exit code of a child that exited, minus the signal that ended one that was killed (-9 for
// SIGKILL), -256 for one that did not run.
inline int exitCode(int status) {
    if (status < 0) {
        return -256;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace ZelTest

#endif
