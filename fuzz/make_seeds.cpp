// Writes every target's seeds into folders of their names below the folder that is given.
#include <cstdio>
#include <string>

#include "base/file.h"
#include "base/standard_descriptors.h"
#include "fuzz/targets.h"

int main(int argc, char** argv) {
    lumato::OccupyStandardDescriptors();
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_seeds FOLDER\n");
        return 2;
    }
    using namespace lumato;
    for (const fuzz::Target& target : fuzz::kTargets) {
        const Path folder = Path(argv[1]) / target.name;
        std::filesystem::create_directories(folder);
        int number = 0;
        for (const fuzz::Bytes& seed : target.seeds()) {
            if (const auto written = WriteFile(folder / ("seed" + std::to_string(++number)), seed);
                !written) {
                std::fprintf(stderr, "%s\n", written.error().message.English().c_str());
                return 1;
            }
        }
    }
    return 0;
}
