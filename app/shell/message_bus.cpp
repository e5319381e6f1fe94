#include "app/shell/message_bus.h"

#include <utility>

namespace lumato::app {
namespace {

QDBusConnection Reach(QDBusConnection::BusType type) {
    return type == QDBusConnection::SystemBus ? QDBusConnection::systemBus() : QDBusConnection::sessionBus();
}

}  // namespace

MessageBus::MessageBus(QDBusConnection::BusType type, Then then) {
    m_reaching.Start([this, type, then = std::move(then)]() -> LooseThreads::Outcome {
        return [this, then, bus = Reach(type)] {
            m_answers = bus.isConnected();
            if (m_answers && then)
                then(bus);
        };
    });
}

}  // namespace lumato::app
