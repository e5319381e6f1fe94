#include "platform/services.h"

namespace lumato::platform {

Services& CurrentServices() {
    static Services services;
    return services;
}

}  // namespace lumato::platform
