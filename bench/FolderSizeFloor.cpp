// The floor for folder sizing: the least a program can do to total a tree on Linux. Recursive
// getdents64 + fstatat, nothing else; with --threads N the top-level folders are dealt out round
// robin to N threads. Prints the total of every non-folder entry's size.
//
//   folder_size_floor [--threads N] TREE

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

struct Entry
{
    unsigned long long ino;
    long long off;
    unsigned short reclen;
    unsigned char type;
    char name[1];
};

unsigned long long walk(int fd, char *buffer, size_t size)
{
    unsigned long long total = 0;
    for (;;) {
        const long n = syscall(SYS_getdents64, fd, buffer, size);
        if (n <= 0)
            break;
        for (long at = 0; at < n;) {
            const Entry *e = reinterpret_cast<const Entry *>(buffer + at);
            at += e->reclen;
            if (e->name[0] == '.' && (!e->name[1] || (e->name[1] == '.' && !e->name[2])))
                continue;
            if (e->type == DT_DIR) {
                const int child = openat(fd, e->name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
                if (child >= 0) {
                    std::vector<char> inner(size);
                    total += walk(child, inner.data(), inner.size());
                    close(child);
                }
                continue;
            }
            struct stat st;
            if (fstatat(fd, e->name, &st, AT_SYMLINK_NOFOLLOW) == 0)
                total += (unsigned long long)st.st_size;
        }
    }
    return total;
}

} // namespace

int main(int argc, char **argv)
{
    int threads = 1;
    const char *tree = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--threads") && i + 1 < argc)
            threads = std::atoi(argv[++i]);
        else
            tree = argv[i];
    }
    if (!tree || threads < 1) {
        std::fprintf(stderr, "usage: folder_size_floor [--threads N] TREE\n");
        return 2;
    }
    const int root = open(tree, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (root < 0)
        return 1;
    if (threads == 1) {
        std::vector<char> buffer(64 * 1024);
        std::printf("%llu\n", walk(root, buffer.data(), buffer.size()));
        return 0;
    }
    // Top-level entries dealt out to the threads.
    std::vector<std::string> names;
    unsigned long long total = 0;
    DIR *dir = fdopendir(dup(root));
    while (dirent *e = readdir(dir)) {
        if (!std::strcmp(e->d_name, ".") || !std::strcmp(e->d_name, ".."))
            continue;
        if (e->d_type == DT_DIR) {
            names.emplace_back(e->d_name);
        } else {
            struct stat st;
            if (fstatat(root, e->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0)
                total += (unsigned long long)st.st_size;
        }
    }
    closedir(dir);
    std::vector<unsigned long long> sums(threads, 0);
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) {
        pool.emplace_back([&, t] {
            std::vector<char> buffer(64 * 1024);
            for (size_t i = t; i < names.size(); i += threads) {
                const int fd = openat(root, names[i].c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
                if (fd >= 0) {
                    sums[t] += walk(fd, buffer.data(), buffer.size());
                    close(fd);
                }
            }
        });
    }
    for (auto &thread : pool)
        thread.join();
    for (const unsigned long long sum : sums)
        total += sum;
    std::printf("%llu\n", total);
    return 0;
}
