// Runs a fuzz entry point over every file of the folders or files given,
// so that each build checks the committed corpus and the crashes found.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv)
{
    namespace fs = std::filesystem;
    int files = 0;
    for (int i = 1; i < argc; i++) {
        std::vector<fs::path> paths;
        if (fs::is_directory(argv[i])) {
            for (const auto& e : fs::directory_iterator(argv[i]))
                if (e.is_regular_file())
                    paths.push_back(e.path());
        } else {
            paths.emplace_back(argv[i]);
        }
        for (const auto& p : paths) {
            std::ifstream in(p, std::ios::binary);
            std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            files++;
        }
    }
    if (files == 0) {
        fprintf(stderr, "replay: no input files\n");
        return 1;
    }
    printf("replayed %d inputs\n", files);
    return 0;
}
