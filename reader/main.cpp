// lumato-reader: decodes what strangers made, for the programs of Lumato, which start it themselves.
#include "reader/serve.h"

int main() {
    return lumato::reader::Serve({lumato::reader::StartVips, lumato::reader::ReadWithVips});
}
