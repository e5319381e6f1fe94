#include "tests/jpeg/slow_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <numbers>
#include <numeric>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace lumato::jpeg {
namespace {

// T.81 figure 5: diagonal by diagonal, in alternating direction.
std::array<std::size_t, 64> ZigZag() {
    std::array<std::size_t, 64> order{};
    std::size_t k = 0;
    for (int sum = 0; sum < 15; ++sum) {
        for (int i = 0; i <= sum; ++i) {
            const int row = sum % 2 == 0 ? sum - i : i;
            const int column = sum - row;
            if (row < 8 && column < 8)
                order[k++] = static_cast<std::size_t>(row * 8 + column);
        }
    }
    return order;
}

using Codes = std::map<std::pair<int, int>, int>;  // length and code to symbol

Codes ReadCodes(ByteSpan counts, ByteSpan values) {
    Codes codes;
    int code = 0;
    std::size_t next = 0;
    for (int length = 1; length <= 16; ++length, code *= 2) {
        for (int i = 0; i < counts[static_cast<std::size_t>(length - 1)]; ++i)
            codes[{length, code++}] = values[next++];
    }
    return codes;
}

class Reader {
  public:
    explicit Reader(ByteSpan stream) : m_stream(stream), m_order(ZigZag()) {}

    SlowStream Read() {
        m_result.wide = 1 + (m_stream[4] & 1);
        m_result.tall = 1 + (m_stream[4] >> 1 & 1);
        m_result.across = (GetBe16(m_stream) + 8 * m_result.wide - 1) / (8 * m_result.wide);
        m_result.down = (GetBe16(m_stream.subspan(2)) + 8 * m_result.tall - 1) / (8 * m_result.tall);
        const auto mcus = static_cast<std::size_t>(m_result.across * m_result.down);
        m_bit = ReadTables(16 + 8 * mcus) * 8;
        for (std::size_t i = 0; i < mcus && m_bit <= m_stream.size() * 8; ++i)
            ReadMcu(16 + 8 * i);
        m_result.unread = m_stream.size() - m_bit / 8;
        return std::move(m_result);
    }

    // What was first found that no encoder writes.
    [[nodiscard]] const std::string& Fault() const { return m_fault; }

  private:
    std::size_t ReadTables(std::size_t at) {
        Expect(GetBe16(m_stream.subspan(at)) == 132, "DQT length");
        Expect(GetBe16(m_stream.subspan(at + 132)) == 418, "DHT length");
        for (std::size_t table = 0; table < 2; ++table) {
            for (std::size_t k = 0; k < 64; ++k)
                m_result.quant[m_stream[at + 2 + 65 * table]][m_order[k]] = m_stream[at + 3 + 65 * table + k];
        }
        at += 134;
        for (int table = 0; table < 4; ++table) {
            const ByteSpan counts = m_stream.subspan(at + 1, 16);
            const auto values = std::accumulate(counts.begin(), counts.end(), std::size_t{0});
            m_codes[m_stream[at]] = ReadCodes(counts, m_stream.subspan(at + 17, values));
            at += 17 + values;
        }
        return at;
    }

    void ReadMcu(std::size_t entryAt) {
        SlowMcu mcu;
        mcu.entryAt = entryAt;
        for (std::size_t i = 0; i < 3; ++i)
            mcu.predictors[i] = static_cast<std::int16_t>(GetLe16(m_stream.subspan(entryAt + 2 * i)));
        mcu.dataOffset = GetLe16(m_stream.subspan(entryAt + 6));
        Expect(mcu.predictors == m_predictors, "predictors in the MCU table");
        const std::size_t start = m_bit / 8;
        Expect(mcu.dataOffset == static_cast<int>((start - entryAt) % 65536), "offset in the MCU table");
        mcu.blocks.push_back(ReadBlock(1, 1));
        mcu.blocks.push_back(ReadBlock(1, 2));
        for (int i = 0; i < m_result.wide * m_result.tall; ++i)
            mcu.blocks.push_back(ReadBlock(0, 0));
        while (m_bit % 8 != 0)
            Expect(Bits(1) == 1, "fill bit");
        if (m_bit > m_stream.size() * 8)
            return Expect(false, "the stream ends early");
        mcu.coded = m_stream.subspan(start, m_bit / 8 - start);
        m_result.mcus.push_back(std::move(mcu));
    }

    // Predictors wrap at 16 bits; a run that passes the last coefficient ends at it.
    SlowBlock ReadBlock(int table, std::size_t component) {
        SlowBlock block{};
        int& predictor = m_predictors[component];
        const int difference = Value(Symbol(m_codes[table]) & 15);
        Expect(std::abs(predictor + difference) < 2048, "first coefficient");
        predictor = static_cast<std::int16_t>(predictor + difference);
        block[0] = predictor;
        for (std::size_t k = 1; k < 64; ++k) {
            const int symbol = Symbol(m_codes[0x10 + table]);
            if (symbol == 0)
                break;
            k += static_cast<std::size_t>(symbol >> 4);
            Expect(k < 64, "run past the end");
            block[m_order[std::min<std::size_t>(k, 63)]] = Value(symbol & 15);
        }
        return block;
    }

    // A code that names nothing is symbol 0 of 16 bits.
    int Symbol(const Codes& codes) {
        int code = 0;
        for (int length = 1; length <= 16; ++length) {
            code = code * 2 + Bits(1);
            if (const auto found = codes.find({length, code}); found != codes.end())
                return found->second;
        }
        Expect(false, "no such code");
        return 0;
    }

    int Value(int size) {
        const int bits = Bits(size);
        return size > 0 && bits < 1 << (size - 1) ? bits + 1 - (1 << size) : bits;
    }

    // Behind the end there are zeros.
    int Bits(int count) {
        int bits = 0;
        for (; count > 0; --count, ++m_bit) {
            const int byte = m_bit / 8 < m_stream.size() ? m_stream[m_bit / 8] : 0;
            bits = bits * 2 + (byte >> (7 - m_bit % 8) & 1);
        }
        return bits;
    }

    void Expect(bool isSound, const char* what) {
        if (!isSound && m_fault.empty())
            m_fault = what;
    }

    ByteSpan m_stream;
    std::array<std::size_t, 64> m_order;
    SlowStream m_result;
    std::map<int, Codes> m_codes;  // by class byte
    std::array<int, 3> m_predictors{};
    std::size_t m_bit = 0;
    std::string m_fault;
};

// T.81 section A.3.3: entry [frequency][position], with its normalisation.
double Basis(std::size_t frequency, std::size_t position) {
    const double scale = frequency == 0 ? std::numbers::sqrt2 / 4 : 0.5;
    return scale * std::cos(static_cast<double>((2 * position + 1) * frequency) * std::numbers::pi / 16);
}

}  // namespace

SlowStream SlowRead(ByteSpan stream) {
    Reader reader(stream);
    SlowStream result = reader.Read();
    EXPECT_EQ(reader.Fault(), "");
    return result;
}

SlowStream SlowReadDamaged(ByteSpan stream) {
    return Reader(stream).Read();
}

std::array<double, 64> SlowInverseDct(const SlowBlock& block, const std::array<int, 64>& quant) {
    std::array<double, 64> samples{};
    for (std::size_t i = 0; i < 64; ++i) {
        for (std::size_t k = 0; k < 64; ++k)
            samples[i] += block[k] * quant[k] * Basis(k / 8, i / 8) * Basis(k % 8, i % 8);
        samples[i] += 128;
    }
    return samples;
}

std::array<double, 64> SlowForwardDct(const std::array<double, 64>& samples) {
    std::array<double, 64> coefficients{};
    for (std::size_t k = 0; k < 64; ++k) {
        for (std::size_t i = 0; i < 64; ++i)
            coefficients[k] += samples[i] * Basis(k / 8, i / 8) * Basis(k % 8, i % 8);
    }
    return coefficients;
}

}  // namespace lumato::jpeg
