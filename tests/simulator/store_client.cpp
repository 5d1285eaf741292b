// A small program that uses the client library. Tests run the program under strace, or kill it
// during a call.
//
//   store-client set PATH TEXT [PATH TEXT]...   sets the leaves in one call
//   store-client get PATH COUNT                 reads the leaf COUNT times, with a pause before
//                                               each read
//   store-client write NAME FIRST LAST          for each number from FIRST to LAST, sets the leaves
//                                               of NAME to the number in one call, then prints the
//                                               number
//   store-client watch LAST NAME...             reads the leaves of all NAMEs until each leaf is
//                                               LAST, then prints the number of reads
//
// The leaves of NAME are NAME/1 to NAME/8.
//
// Exit status: 0 when every call succeeded; 1 when a call failed; 2 when the store cannot be
// opened; 3 when a read shows that a write was lost, or that only a part of a write was visible.

#include <cds++.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace
{

int set_leaves(toolkit::CCds& store, char** begin, char** end)
{
    std::vector<std::string> paths;
    std::vector<toolkit::CElement> values;
    for (char** word = begin; word + 1 < end; word += 2) {
        paths.push_back(word[0]);
        values.emplace_back() = std::string(word[1]);
    }
    std::vector<api_status_t> statuses;
    const std::vector<pcd_tribool_t> flags(paths.size(), 1);
    return store.set_leaves(paths, values, flags, statuses, "") == 0 ? 0 : 1;
}

int get_leaf(toolkit::CCds& store, const std::string& path, int count)
{
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
    std::vector<toolkit::element_property_t> properties;
    for (int i = 0; i < count; ++i) {
        const timespec pause = {0, 1'000'000};
        nanosleep(&pause, nullptr); // separates the reads in the output of strace
        if (store.get_leaves({path}, statuses, elements, properties) != 0)
            return 1;
    }
    return 0;
}

constexpr int leaves_of_name = 8;
constexpr int torn = -1;

void add_leaves(std::vector<std::string>& paths, const std::string& name)
{
    for (int i = 1; i <= leaves_of_name; ++i)
        paths.push_back(name + "/" + std::to_string(i));
}

// Returns one number for each name: the number that all leaves of the name hold, 0 when the leaves
// are missing, or `torn` when they differ. Returns an empty list when the call failed.
std::vector<int> read_numbers(toolkit::CCds& store, const std::vector<std::string>& paths)
{
    std::vector<api_status_t> statuses;
    std::vector<toolkit::CElement> elements;
    std::vector<toolkit::element_property_t> properties;
    std::vector<int> numbers;
    if (store.get_leaves(paths, statuses, elements, properties) != 0)
        return numbers;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const int number = elements[i].to_int();
        if (i % leaves_of_name == 0)
            numbers.push_back(number);
        else if (number != numbers.back())
            numbers.back() = torn;
    }
    return numbers;
}

int write_numbers(toolkit::CCds& store, const std::string& name, int first, int last)
{
    std::vector<std::string> paths;
    add_leaves(paths, name);
    const std::vector<pcd_tribool_t> flags(paths.size(), 1);
    std::vector<api_status_t> statuses;
    for (int number = first; number <= last; ++number) {
        if (number != first && read_numbers(store, paths) != std::vector<int>{number - 1})
            return 3;
        std::vector<toolkit::CElement> values(paths.size());
        for (toolkit::CElement& value : values)
            value = number;
        if (store.set_leaves(paths, values, flags, statuses, "") != 0)
            return 1;
        std::printf("%d\n", number);
        std::fflush(stdout);
    }
    return 0;
}

int watch_numbers(toolkit::CCds& store, int last, char** begin, char** end)
{
    std::vector<std::string> paths;
    for (char** name = begin; name < end; ++name)
        add_leaves(paths, *name);
    std::vector<int> seen(static_cast<std::size_t>(end - begin), 0);
    for (int reads = 1;; ++reads) {
        const std::vector<int> numbers = read_numbers(store, paths);
        if (numbers.empty())
            return 1;
        bool all_last = true;
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            if (numbers[i] == torn || numbers[i] < seen[i])
                return 3;
            all_last = all_last && numbers[i] == last;
        }
        seen = numbers;
        if (all_last) {
            std::printf("%d\n", reads);
            return 0;
        }
    }
}

int run(toolkit::CCds& store, const std::string& word, char** begin, char** end)
{
    if (word == "get" && end - begin == 2)
        return get_leaf(store, begin[0], std::atoi(begin[1]));
    if (word == "write" && end - begin == 3)
        return write_numbers(store, begin[0], std::atoi(begin[1]), std::atoi(begin[2]));
    if (word == "watch" && end - begin >= 2)
        return watch_numbers(store, std::atoi(begin[0]), begin + 1, end);
    return set_leaves(store, begin, end);
}

} // namespace

int main(int argc, char** argv)
{
    toolkit::CCds store;
    store.handle = pcd_init(0);
    if (store.handle == nullptr)
        return 2;
    const int status = argc < 3 ? 1 : run(store, argv[1], argv + 2, argv + argc);
    pcd_close(store.handle);
    return status;
}
