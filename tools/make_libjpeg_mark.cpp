// Writes the mark of the libjpeg that a build is made with as a header.
//
//     make_libjpeg_mark HEADER
#include "import/libjpeg_mark.h"

int main(int argc, char** argv) {
    std::FILE* const header = argc == 2 ? std::fopen(argv[1], "w") : nullptr;
    if (header == nullptr)
        return 1;
    jpeg_error_mgr errors{};
    std::fprintf(header, "inline constexpr unsigned long long kLibjpegBuiltFor = %lluU;\n",
                 static_cast<unsigned long long>(lumato::picture::LibjpegMark(*jpeg_std_error(&errors))));
    return std::fclose(header) == 0 ? 0 : 1;
}
