#include "tests/unit/fake_console.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>
#include <sys/select.h>
#include <unistd.h>

namespace
{

int screen = -1;
std::string scripted_waits;
std::vector<WaitForKey> waits_made;

int memory_file(const std::string& content)
{
    const int file = memfd_create("console", MFD_CLOEXEC);
    if (file < 0 ||
        pwrite(file, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size()))
        std::abort();
    return file;
}

// Makes descriptor `number` refer to `file`. Returns a copy of the old descriptor.
int replace(int number, int file)
{
    const int saved = dup(number);
    if (saved < 0 || dup2(file, number) < 0)
        std::abort();
    return saved;
}

void put_back(int number, int saved)
{
    if (dup2(saved, number) < 0)
        std::abort();
    close(saved);
}

bool is_for_keyboard_alone(int count, const fd_set* readable)
{
    for (int descriptor = 0; descriptor < FD_SETSIZE; ++descriptor) {
        if ((FD_ISSET(descriptor, readable) != 0) != (descriptor == STDIN_FILENO))
            return false;
    }
    return count == STDIN_FILENO + 1; // `select` requires the highest descriptor plus one
}

} // namespace

std::string console_so_far(std::size_t from)
{
    std::string text(static_cast<std::size_t>(lseek(screen, 0, SEEK_END)) - from, '\0');
    if (pread(screen, text.data(), text.size(), static_cast<off_t>(from)) !=
        static_cast<ssize_t>(text.size()))
        std::abort();
    return text;
}

bool shows(const std::string& shown, const std::string& text)
{
    return shown.find(text) != std::string::npos;
}

const std::vector<WaitForKey>& waits_so_far()
{
    return waits_made;
}

std::string console_of(const std::string& keys, const std::function<void()>& action,
                       const std::string& waits)
{
    const int keyboard = memory_file(keys);
    scripted_waits = waits;
    const std::string printed = console_on(keyboard, action);
    scripted_waits.clear();
    close(keyboard);
    return printed;
}

std::string console_on(int keyboard, const std::function<void()>& action)
{
    waits_made.clear();
    screen = memory_file("");
    std::fflush(stdout);
    std::setvbuf(stdin, nullptr, _IONBF, 0);
    std::clearerr(stdin);
    const int saved_input = replace(STDIN_FILENO, keyboard);
    const int saved_output = replace(STDOUT_FILENO, screen);

    action();

    std::fflush(stdout);
    const std::string printed = console_so_far();
    put_back(STDIN_FILENO, saved_input);
    put_back(STDOUT_FILENO, saved_output);
    close(screen);
    return printed;
}

// Replaces the function `select` of the C library. The definition is weak, so that a fuzz target
// can replace it by another `select`.
extern "C" [[gnu::weak]] int select(int count, fd_set* readable, fd_set* writable,
                                    fd_set* exceptional, timeval* time_out)
{
    waits_made.push_back({*time_out, is_for_keyboard_alone(count, readable)});
    if (scripted_waits.empty()) {
        const timespec wait = {time_out->tv_sec, time_out->tv_usec * 1000};
        return pselect(count, readable, writable, exceptional, &wait, nullptr);
    }
    const char event = scripted_waits.front();
    scripted_waits.erase(0, 1);
    *time_out = {7, 500000};
    errno = EINTR;
    return event == 'k' ? 1 : event == 't' ? 0 : -1;
}
