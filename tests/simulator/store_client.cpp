// A small program on the client library, to be watched and interfered with from outside.
//
//   store-client set PATH TEXT [PATH TEXT]...   sets the leaves in one call
//   store-client get PATH COUNT                 reads the leaf COUNT times, pausing before each
//
// Exit status: 0 when every call succeeded, 1 when one did not, 2 without a connection.

#include <cds++.h>

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
        nanosleep(&pause, nullptr); // parts the reads from one another in a list of system calls
        if (store.get_leaves({path}, statuses, elements, properties) != 0)
            return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    toolkit::CCds store;
    store.handle = pcd_init(0);
    if (store.handle == nullptr)
        return 2;
    const bool reads = argc == 4 && argv[1] == std::string("get");
    const int status = reads ? get_leaf(store, argv[2], std::atoi(argv[3]))
                             : set_leaves(store, argv + 2, argv + argc);
    pcd_close(store.handle);
    return status;
}
