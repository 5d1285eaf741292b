// Replaces libFuzzer's `main`. Plays each given file, and each file in a given directory, once.
// Prints the name of each file before playing it. When a failed check or a sanitizer ends the
// process, the last printed name is the name of the failed input.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

int played = 0;

void play(const std::filesystem::path& path)
{
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    const std::string input(std::istreambuf_iterator<char>(file), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
    ++played;
}

} // namespace

int main(int count, char** arguments)
{
    for (int i = 1; i < count; ++i) {
        if (!std::filesystem::is_directory(arguments[i])) {
            play(arguments[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(arguments[i]))
            play(entry.path());
    }
    std::printf("%d inputs played\n", played);
}
