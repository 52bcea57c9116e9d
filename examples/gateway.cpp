// SPDX-License-Identifier: MIT
// Passes on what the receiver can decode, and asks the sender for a key picture when it can no longer:
// gateway IN OUT, as after a lossy link. Parameter sets always go on.
#include "Files.h"

#include <cstdio>
#include <string>

namespace {

class Gateway {
public:
    Gateway(nalsmith::Codec codec, const char* file)
        : codec_(codec), reader_(codec), checker_(codec), out_(file, std::ios::binary)
    {
    }

    bool take(nalsmith::BytesView packet)
    {
        failed_ = reader_.push(packet, packets_++) != nalsmith::Status::ok || failed_;
        forward();
        return !failed_;
    }

    bool finish()
    {
        failed_ = reader_.finish() != nalsmith::Status::ok || failed_;
        forward();
        std::printf("%u losses, %u access units held back\n", losses_, held_back_);
        return !failed_ && out_.flush().good();
    }

private:
    void forward()
    {
        while (const auto unit = reader_.next()) {
            const nalsmith::Verdict verdict = checker_.check(*unit);
            const auto packet = static_cast<unsigned long long>(unit->tag);
            if (verdict.broken() || verdict.suspect()) {
                std::printf("packet %llu: %s\n", packet, to_string(verdict.finding));
                ++losses_;
            }
            // Pictures that an entry point skips are no reason to ask.
            if (forwarding_ && !verdict.decodable && verdict.finding != nalsmith::Finding::skipped)
                std::printf("packet %llu: asks for a key picture\n", packet);
            forwarding_ = verdict.decodable || (forwarding_ && verdict.finding == nalsmith::Finding::skipped);
            verdict.decodable ? write(out_, unit->bytes) : hold_back(unit->bytes);
        }
    }

    void hold_back(nalsmith::BytesView unit)
    {
        ++held_back_;
        for (const nalsmith::NalUnit& nal : nalsmith::NalUnits(codec_, unit))
            if (nal.is_parameter_set())
                write(out_, nal.bytes);
    }

    nalsmith::Codec codec_;
    nalsmith::AccessUnitReader reader_;
    nalsmith::ContinuityChecker checker_;
    std::ofstream out_;
    bool forwarding_ = true;
    bool failed_ = false;
    std::uint64_t packets_ = 0;
    unsigned losses_ = 0;
    unsigned held_back_ = 0;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    Gateway gateway(codec_of(argv[1]), argv[2]);
    const bool all =
        for_each_piece(argv[1], 1316, [&](nalsmith::BytesView packet) { return gateway.take(packet); });
    return gateway.finish() && all ? 0 : 1;
}
