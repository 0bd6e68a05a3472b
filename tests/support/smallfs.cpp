// Runs a program with a small, nearly full disk at a folder, for tests of what
// a full disk does to a conversion:
//   tonmill-test-smallfs KIB FOLDER LISTING PROGRAM [ARGUMENTS...]
// mounts a tmpfs of KIB kibibytes over FOLDER in a mount namespace of its own,
// runs the program there, then writes the names left in FOLDER to the file
// LISTING (outside it), one per line. Exits with the program's status, or
// 128 + the signal that ended it; 77 when no mount namespace can be made here.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool writeFile(const char *path, const std::string &text)
{
    const int fd = ::open(path, O_WRONLY);
    const bool ok = fd >= 0 && ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (fd >= 0)
        ::close(fd);
    return ok;
}

// A mount namespace: directly when allowed, else inside a user namespace of
// our own in which we are root.
bool enterMountNamespace()
{
    const std::string uid = std::to_string(::getuid()), gid = std::to_string(::getgid());
    return ::unshare(CLONE_NEWNS) == 0
           || (::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && writeFile("/proc/self/setgroups", "deny")
               && writeFile("/proc/self/uid_map", "0 " + uid + " 1") && writeFile("/proc/self/gid_map", "0 " + gid + " 1"));
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 5) {
        std::fprintf(stderr, "usage: %s KIB FOLDER LISTING PROGRAM [ARGUMENTS...]\n", argv[0]);
        return 2;
    }
    const std::string options = "size=" + std::string(argv[1]) + "k";
    if (!enterMountNamespace() || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
        || ::mount("tonmill-test", argv[2], "tmpfs", 0, options.c_str()) != 0) {
        std::fprintf(stderr, "smallfs: no mount namespace here: %s\n", std::strerror(errno));
        return 77;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::execvp(argv[4], argv + 4);
        std::fprintf(stderr, "smallfs: cannot run %s: %s\n", argv[4], std::strerror(errno));
        ::_exit(127);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (FILE *out = std::fopen(argv[3], "w")) {
        if (DIR *dir = ::opendir(argv[2])) {
            while (const dirent *entry = ::readdir(dir)) {
                if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                    std::fprintf(out, "%s\n", entry->d_name);
            }
            ::closedir(dir);
        }
        std::fclose(out);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
