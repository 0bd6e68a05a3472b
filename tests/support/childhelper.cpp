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
#include <cstring>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void writeAll(const char *data, size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(1, data, size);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            std::exit(3);
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
}

void say(const std::string &text)
{
    writeAll(text.data(), text.size());
}

std::string hex(const std::string &bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : bytes) {
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

// Byte i of the pattern; printable, with a line break every 64 bytes.
char patternByte(long long i)
{
    return (i % 64 == 63) ? '\n' : static_cast<char>('A' + (i * 7 + i / 64) % 26);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2)
        return 2;
    const std::string mode = argv[1];
    const long long n = argc > 2 ? std::atoll(argv[2]) : 0;

    if (mode == "args") {
        say("ARGC " + std::to_string(argc - 2) + "\n");
        for (int i = 2; i < argc; ++i)
            say("ARG " + hex(argv[i]) + "\n");
        return 0;
    }
    if (mode == "write") {
        std::string block;
        for (long long i = 0; i < n;) {
            block.clear();
            for (int k = 0; k < 65536 && i < n; ++k, ++i)
                block += patternByte(i);
            writeAll(block.data(), block.size());
        }
        if (argc > 3)
            say(argv[3]);
        _exit(0);
    }
    if (mode == "silent") {
        usleep(static_cast<useconds_t>(n * 1000));
        return 0;
    }
    if (mode == "sleep" || mode == "stubborn") {
        if (mode == "stubborn")
            std::signal(SIGTERM, SIG_IGN);
        say("PID " + std::to_string(getpid()) + "\n");
        usleep(static_cast<useconds_t>(n * 1000));
        return 0;
    }
    if (mode == "readhex") {
        std::string got;
        char c;
        while (static_cast<long long>(got.size()) < n && ::read(0, &c, 1) == 1)
            got += c;
        say("GOT " + hex(got) + "\n");
        return 0;
    }
    if (mode == "exit") {
        if (argc > 3)
            std::fprintf(stderr, "%s\n", argv[3]);
        return static_cast<int>(n);
    }
    if (mode == "spawn") {
        const pid_t child = fork();
        if (child == 0) {
            usleep(static_cast<useconds_t>(n * 1000));
            _exit(0);
        }
        say("PID " + std::to_string(getpid()) + " CHILD " + std::to_string(child) + "\n");
        usleep(static_cast<useconds_t>(n * 1000));
        waitpid(child, nullptr, 0);
        return 0;
    }
    return 2;
}
