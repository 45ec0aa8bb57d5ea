// Forked children for tests of what a file size limit, a sudden death or missing permissions do
// to the files a process writes.
#ifndef ZEL_TEST_CHILD_H
#define ZEL_TEST_CHILD_H

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ZelTest {

// Runs `body` in a forked child that leaves through _exit(body()), so none of the parent's
// buffers or handlers run twice; with `killAfterUs` >= 0 the child gets SIGKILL after that many
// microseconds. Returns the exit code, or minus the signal that ended the child.
template <class Fn>
int inChild(Fn body, long killAfterUs = -1) {
    const pid_t pid = fork();
    if (pid == 0) {
        _exit(body());
    }
    if (killAfterUs >= 0) {
        usleep(static_cast<useconds_t>(killAfterUs));
        kill(pid, SIGKILL);
    }
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid) {
        return -256;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Limits every file the process writes to `bytes`: a write past them fails with EFBIG, or, with
// `die`, kills the process right there with SIGKILL.
inline bool limitFileSize(rlim_t bytes, bool die) {
    const rlimit limit{bytes, bytes};
    void (*killSelf)(int) = [](int) { kill(getpid(), SIGKILL); };
    return signal(SIGXFSZ, die ? killSelf : SIG_IGN) != SIG_ERR &&
           setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

// Gives up root for user and group "nobody", so that permission bits apply.
inline bool dropRoot() {
    return geteuid() != 0 || (setgid(65534) == 0 && setuid(65534) == 0);
}

}  // namespace ZelTest

#endif
