#include "reader/messages.h"

#include <algorithm>
#include <string_view>
#include <type_traits>

namespace lumato::reader {
namespace {

// Each message begins with its number in its variant.
class Writer {
  public:
    explicit Writer(std::size_t kind) { Byte(static_cast<std::uint8_t>(kind)); }

    Writer& Byte(std::uint8_t value) {
        m_packet.push_back(value);
        return *this;
    }
    Writer& Number(std::uint32_t value) {
        std::uint8_t bytes[4];
        PutLe32(bytes, value);
        m_packet.insert(m_packet.end(), bytes, bytes + 4);
        return *this;
    }
    Writer& Side(std::int32_t value) { return Number(static_cast<std::uint32_t>(value)); }
    Writer& Wide(std::int64_t value) {
        const auto bits = static_cast<std::uint64_t>(value);
        return Number(static_cast<std::uint32_t>(bits)).Number(static_cast<std::uint32_t>(bits >> 32));
    }
    Writer& Text(std::string_view text) {
        text = text.substr(0, kMostText);
        m_packet.insert(m_packet.end(), text.begin(), text.end());
        return *this;
    }
    [[nodiscard]] Packet Finish() { return std::move(m_packet); }

  private:
    Packet m_packet;
};

// Takes a message apart. What was not there, or is left over, or lies outside of its range makes it none.
class Taker {
  public:
    explicit Taker(ByteSpan packet) : m_rest(packet) {}

    std::uint8_t Byte(std::uint8_t least, std::uint8_t most) {
        const std::uint8_t value = Has(1) ? m_rest[0] : std::uint8_t{0};
        Skip(1);
        Require(value >= least && value <= most);
        return value;
    }
    std::uint32_t Number() {
        const std::uint32_t value = Has(4) ? GetLe32(m_rest) : 0;
        Skip(4);
        return value;
    }
    std::int32_t SideOrNone() {
        const auto value = static_cast<std::int32_t>(Number());
        Require(value >= 0);
        return value;
    }
    std::int32_t Side() {
        const std::int32_t value = SideOrNone();
        Require(value > 0);
        return value;
    }
    std::int64_t Wide() {
        const std::uint64_t low = Number();
        return static_cast<std::int64_t>(std::uint64_t{Number()} << 32 | low);
    }
    // What is left; control characters and what is not ASCII are shown as question marks: reasons of
    // libraries are English.
    std::string Text() {
        std::string text(m_rest.begin(), m_rest.end());
        Require(text.size() <= kMostText);
        for (char& character : text)
            if (character < ' ' || character > '~')
                character = '?';
        m_rest = {};
        return text;
    }
    void Require(bool kept) { m_sound = m_sound && kept; }
    [[nodiscard]] bool IsSound() const { return m_sound && m_rest.empty(); }

  private:
    [[nodiscard]] bool Has(std::size_t count) const { return m_rest.size() >= count; }
    void Skip(std::size_t count) {
        Require(Has(count));
        m_rest = m_rest.subspan(std::min(count, m_rest.size()));
    }

    ByteSpan m_rest;
    bool m_sound = true;
};

Found TakeFound(Taker& taker) {
    Found found;
    found.width = taker.Wide();
    found.height = taker.Wide();
    found.orientation = taker.Byte(0, 255);
    found.format = static_cast<Format>(taker.Byte(0, kFormats - 1));
    found.pixelBytes = taker.Byte(1, 255);
    found.profileBytes = taker.Number();
    taker.Require(found.profileBytes <= kHalf);
    return found;
}

FromReader TakeFromReader(std::uint8_t kind, Taker& taker) {
    switch (kind) {
        case 0: {
            const std::uint32_t version = taker.Number();
            return Ready{version, taker.Byte(0, kNoFilter | kNoRules)};
        }
        case 1:
            return TakeFound(taker);
        case 2: {
            const std::int32_t width = taker.Side();
            const std::int32_t height = taker.Side();
            return Coming{width, height, taker.SideOrNone()};
        }
        case 3:
            return Rows{taker.Side()};
        case 4: {
            const auto outcome = static_cast<Outcome>(taker.Byte(0, 4));
            const auto reason = static_cast<Reason>(taker.Byte(0, std::size(kReasons) - 1));
            return End{outcome, reason, taker.Text()};
        }
        case 5:
            return Line{taker.Text()};
        default: {
            const std::int64_t offset = taker.Wide();
            const std::int64_t length = taker.Wide();
            return Preview{offset, length, taker.Byte(0, 255)};
        }
    }
}

ToReader TakeToReader(std::uint8_t kind, Taker& taker) {
    switch (kind) {
        case 0: {
            const std::int64_t size = taker.Wide();
            return Job{size, taker.Byte(1, 255)};
        }
        case 1: {
            const std::int32_t shrink = taker.Side();
            return Go{shrink, taker.Byte(0, 1) != 0};
        }
        case 2:
            return Leave{};
        case 3:
            return Keep{taker.Side()};
        default:
            return Taken{};
    }
}

}  // namespace

Packet Pack(const ToReader& message) {
    Writer writer(message.index());
    if (const auto* job = std::get_if<Job>(&message))
        writer.Wide(job->fileSize).Byte(job->threads);
    else if (const auto* go = std::get_if<Go>(&message))
        writer.Side(go->mostShrink).Byte(go->profileTaken ? 1 : 0);
    else if (const auto* keep = std::get_if<Keep>(&message))
        writer.Side(keep->divisor);
    return writer.Finish();
}

Packet Pack(const FromReader& message) {
    Writer writer(message.index());
    if (const auto* ready = std::get_if<Ready>(&message))
        writer.Number(ready->version).Byte(ready->lacking);
    else if (const auto* found = std::get_if<Found>(&message))
        writer.Wide(found->width)
            .Wide(found->height)
            .Byte(found->orientation)
            .Byte(static_cast<std::uint8_t>(found->format))
            .Byte(found->pixelBytes)
            .Number(found->profileBytes);
    else if (const auto* coming = std::get_if<Coming>(&message))
        writer.Side(coming->width).Side(coming->height).Side(coming->divisor);
    else if (const auto* rows = std::get_if<Rows>(&message))
        writer.Side(rows->count);
    else if (const auto* end = std::get_if<End>(&message))
        writer.Byte(static_cast<std::uint8_t>(end->outcome))
            .Byte(static_cast<std::uint8_t>(end->reason))
            .Text(end->value);
    else if (const auto* line = std::get_if<Line>(&message))
        writer.Text(line->text);
    else if (const auto* preview = std::get_if<Preview>(&message))
        writer.Wide(preview->offset).Wide(preview->length).Byte(preview->orientation);
    return writer.Finish();
}

std::optional<ToReader> ParseToReader(ByteSpan packet) {
    Taker taker(packet);
    const std::uint8_t kind = taker.Byte(0, std::variant_size_v<ToReader> - 1);
    ToReader message = TakeToReader(kind, taker);
    return taker.IsSound() ? std::optional(message) : std::nullopt;
}

std::optional<FromReader> ParseFromReader(ByteSpan packet) {
    Taker taker(packet);
    const std::uint8_t kind = taker.Byte(0, std::variant_size_v<FromReader> - 1);
    FromReader message = TakeFromReader(kind, taker);
    return taker.IsSound() ? std::optional(std::move(message)) : std::nullopt;
}

}  // namespace lumato::reader
