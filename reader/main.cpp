// lumato-reader: decodes what strangers made, for the programs of Lumato, which start it themselves.
#include "reader/raw_reading.h"
#include "reader/serve.h"
#include "reader/tiff_file.h"

namespace lumato::reader {
namespace {

bool Start(void (*log)(const char* line)) {
    // What libtiff has to say libvips takes, and nobody else.
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
    return StartVips(log);
}

End Read(int descriptor, const Job& job, Receiver& receiver) {
    return IsRaw(descriptor) ? ReadRaw(descriptor, job, receiver) : ReadWithVips(descriptor, job, receiver);
}

}  // namespace
}  // namespace lumato::reader

int main() {
    return lumato::reader::Serve({lumato::reader::Start, lumato::reader::Read});
}
