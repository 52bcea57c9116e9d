// SPDX-License-Identifier: MIT
// The C++ layer: nothing lost, the same access units however the input is cut, as many as the library gives,
// and no step outside the input. The choices stand at the end of the input, the stream in front.
#include <nalsmith/nalsmith.hpp>

#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>

namespace {

using namespace nalsmith;

void require(bool condition)
{
    if (!condition)
        std::abort();
}

struct Unit {
    Bytes bytes;
    bool key;
    std::size_t unreadable;

    bool operator==(const Unit&) const = default;
};

std::vector<Unit> read(Codec codec, BytesView stream, const std::vector<std::size_t>& sizes,
                       bool self_contained)
{
    AccessUnitReader reader(codec, {.self_contained = self_contained});
    std::vector<Unit> units;
    const auto drain = [&] {
        while (const auto unit = reader.next()) {
            require(unit->inserted == 0 || self_contained);
            require(unit->unreadable <= unit->bytes.size() - unit->inserted);
            units.push_back({Bytes(unit->bytes.begin(), unit->bytes.end()), unit->key, unit->unreadable});
        }
    };
    for (std::size_t i = 0; !stream.empty(); ++i) {
        const std::size_t size = sizes[i % sizes.size()] + 1;
        require(reader.push(stream.subview(0, size), i) == Status::ok);
        drain();
        stream = stream.subview(size);
    }
    require(reader.finish() == Status::ok);
    drain();
    return units;
}

// The library's own, NAL unit by NAL unit behind start codes of four bytes. True for key access units.
std::vector<bool> read_raw(Codec codec, BytesView stream)
{
    const ParsingHandle handle = make_parsing_handle(codec, 2, 1);
    std::vector<bool> keys;
    VideoInfo info = {};
    for (const NalUnit& nal : NalUnits(codec, stream)) {
        if (nal.bare() || nal.forbidden())
            continue;
        Bytes piece = {0, 0, 0, 1};
        append(piece, nal.bytes.subview(nal.start_code_size));
        ParseVideoParams(handle.get(), piece.data(), detail::library_size(piece.size()), &info);
        if (info.frameAvailable != 0)
            keys.push_back(info.keyFrame != 0);
    }
    ParseVideoParams(handle.get(), nullptr, 0, &info);
    if (info.frameAvailable != 0)
        keys.push_back(info.keyFrame != 0);
    return keys;
}

void use(Codec codec, BytesView unit, ContinuityChecker& checker, UserDataEditor& editor)
{
    checker.check(unit);
    sei_messages(codec, unit);
    const BytesView data = unit.subview(0, 40);
    if (const auto added = editor.add(unit, data)) {
        const auto again = editor.add(*added, data);
        require(again.has_value() && editor.get(*again).has_value());
    }
    editor.remove(unit);
    Bytes prefixed;
    Bytes back;
    if (to_length_prefixed(unit, 4, prefixed) == Status::ok)
        require(to_annex_b(prefixed, 4, back) == Status::ok);
    to_annex_b(unit, 1, back);
    CodecConfiguration configuration;
    read_avc_configuration(unit, configuration);
    read_hevc_configuration(unit, configuration);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider choices(data, size);
    const Codec codec = choices.ConsumeBool() ? Codec::h265 : Codec::h264;
    std::vector<std::size_t> sizes(choices.ConsumeIntegralInRange<std::size_t>(1, 6));
    for (std::size_t& piece : sizes)
        piece = choices.ConsumeIntegralInRange<std::size_t>(0, 300);
    const Bytes stream = choices.ConsumeRemainingBytes<std::uint8_t>();

    const std::vector<Unit> units = read(codec, stream, sizes, false);
    require(units == read(codec, stream, {size}, false));
    const std::vector<bool> raw = read_raw(codec, stream);
    require(units.size() == raw.size() || (raw.empty() && units.size() == 1));
    ContinuityChecker checker(codec);
    UserDataEditor editor(codec);
    AccessUnitReader whole(codec, {.self_contained = true, .whole_units = true});
    Bytes all;
    for (std::size_t i = 0; i < units.size(); ++i) {
        require(raw.empty() || units[i].key == raw[i]);
        append(all, units[i].bytes);
        use(codec, units[i].bytes, checker, editor);
        require(whole.read(units[i].bytes).has_value());
    }
    const std::size_t start = detail::find_start_code(stream.data(), 0, 0, stream.size());
    require(all.size() == stream.size() - start);
    require(all.empty() || std::memcmp(all.data(), stream.data() + start, all.size()) == 0);
    require(read(codec, stream, sizes, true).size() == units.size());
    return 0;
}
