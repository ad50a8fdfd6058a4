// cable FILE: two serial devices with a cable between them, until it is killed. Writes their paths
// into FILE, one on each line.
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

struct End {
    int master = posix_openpt(O_RDWR | O_NOCTTY);
    std::string device;
    int holder = -1;  // else the end would hang up whenever a program closes it

    End() {
        char name[64];
        termios raw{};
        if (grantpt(master) != 0 || unlockpt(master) != 0 ||
            ptsname_r(master, name, sizeof name) != 0) {
            std::abort();
        }
        device = name;
        holder = open(name, O_RDWR | O_NOCTTY);
        tcgetattr(holder, &raw);
        cfmakeraw(&raw);
        tcsetattr(holder, TCSANOW, &raw);
    }
};

void carry(int from, int to) {
    char bytes[4096];
    for (;;) {
        const ssize_t count = read(from, bytes, sizeof bytes);
        for (ssize_t at = 0; at < count;) {
            const ssize_t written = write(to, bytes + at, static_cast<size_t>(count - at));
            if (written <= 0) return;
            at += written;
        }
        if (count <= 0) return;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const End one;
    const End other;
    const std::string draft = std::string(argv[1]) + ".new";
    std::FILE* file = std::fopen(draft.c_str(), "w");
    if (file == nullptr) return 1;
    std::fprintf(file, "%s\n%s\n", one.device.c_str(), other.device.c_str());
    std::fclose(file);
    if (std::rename(draft.c_str(), argv[1]) != 0) return 1;
    std::thread back(carry, other.master, one.master);
    carry(one.master, other.master);
    back.join();
}
