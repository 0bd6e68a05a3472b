// A small console program that tests start as a real child process.
//   args              prints the number of arguments, then each one in hex
//   write N [LAST]    writes N bytes of a known pattern, then LAST, then exits at once
//   silent MS         writes nothing and exits after MS milliseconds
//   sleep MS          prints its id, then sleeps MS milliseconds
//   stubborn MS       like sleep, but ignores SIGTERM
//   readhex N         reads N bytes from its input and prints them in hex
//   spawn MS          starts a grandchild that sleeps; prints both ids, then sleeps MS
//   exit N LINE       writes LINE to its error output, then exits with status N
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void say(const std::string &text)
{
    for (size_t done = 0; done < text.size();) {
        const ssize_t n = ::write(1, text.data() + done, text.size() - done);
        if (n < 0 && errno != EINTR)
            std::exit(3);
        done += n > 0 ? size_t(n) : 0;
    }
}

std::string hex(const std::string &bytes)
{
    std::string out;
    for (unsigned char c : bytes)
        out += std::string{"0123456789abcdef"[c >> 4], "0123456789abcdef"[c & 15]};
    return out;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2)
        return 2;
    const std::string mode = argv[1];
    const long long n = argc > 2 ? std::atoll(argv[2]) : 0;
    const auto sleepMs = [n] { usleep(static_cast<useconds_t>(n * 1000)); };
    if (mode == "args") {
        say("ARGC " + std::to_string(argc - 2) + "\n");
        for (int i = 2; i < argc; ++i)
            say("ARG " + hex(argv[i]) + "\n");
    } else if (mode == "write") {
        // Printable, with a line break every 64 bytes.
        std::string block;
        for (long long i = 0; i < n;) {
            block.clear();
            for (int k = 0; k < 65536 && i < n; ++k, ++i)
                block += (i % 64 == 63) ? '\n' : static_cast<char>('A' + (i * 7 + i / 64) % 26);
            say(block);
        }
        say(argc > 3 ? argv[3] : "");
        _exit(0);
    } else if (mode == "silent") {
        sleepMs();
    } else if (mode == "sleep" || mode == "stubborn") {
        if (mode == "stubborn")
            std::signal(SIGTERM, SIG_IGN);
        say("PID " + std::to_string(getpid()) + "\n");
        sleepMs();
    } else if (mode == "readhex") {
        std::string got;
        char c;
        while (static_cast<long long>(got.size()) < n && ::read(0, &c, 1) == 1)
            got += c;
        say("GOT " + hex(got) + "\n");
    } else if (mode == "exit") {
        if (argc > 3)
            std::fprintf(stderr, "%s\n", argv[3]);
        return static_cast<int>(n);
    } else if (mode == "spawn") {
        const pid_t child = fork();
        if (child == 0) {
            sleepMs();
            _exit(0);
        }
        say("PID " + std::to_string(getpid()) + " CHILD " + std::to_string(child) + "\n");
        sleepMs();
        waitpid(child, nullptr, 0);
    } else {
        return 2;
    }
    return 0;
}
