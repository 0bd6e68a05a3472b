// Runs a program with a small, nearly full disk at a folder, for tests of what
// a full disk does to a conversion:
//   tonmill-test-smallfs KIB FOLDER LISTING PROGRAM [ARGUMENTS...]
// mounts a tmpfs of KIB kibibytes over FOLDER in a mount namespace of its own,
// runs the program there, then writes the names left in FOLDER to the file
// LISTING (outside it), one per line. Exits with the program's status, or
// 128 + the signal that ended it; 77 when no mount namespace can be made here.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kUnavailable = 77;

bool writeFile(const char *path, const std::string &text)
{
    const int fd = ::open(path, O_WRONLY);
    if (fd < 0)
        return false;
    const bool ok = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::close(fd);
    return ok;
}

// A mount namespace: directly when allowed, else inside a user namespace of
// our own in which we are root.
bool enterMountNamespace()
{
    if (::unshare(CLONE_NEWNS) == 0)
        return true;
    const uid_t uid = ::getuid();
    const gid_t gid = ::getgid();
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    return writeFile("/proc/self/setgroups", "deny")
           && writeFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1")
           && writeFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 5) {
        std::fprintf(stderr, "usage: %s KIB FOLDER LISTING PROGRAM [ARGUMENTS...]\n", argv[0]);
        return 2;
    }
    const std::string options = "size=" + std::string(argv[1]) + "k";
    const char *folder = argv[2];
    const char *listing = argv[3];
    if (!enterMountNamespace() || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
        || ::mount("tonmill-test", folder, "tmpfs", 0, options.c_str()) != 0) {
        std::fprintf(stderr, "smallfs: no mount namespace here: %s\n", std::strerror(errno));
        return kUnavailable;
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
    std::string names;
    if (DIR *dir = ::opendir(folder)) {
        while (const dirent *entry = ::readdir(dir)) {
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                names += std::string(entry->d_name) + "\n";
        }
        ::closedir(dir);
    }
    if (FILE *out = std::fopen(listing, "w")) {
        std::fputs(names.c_str(), out);
        std::fclose(out);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
