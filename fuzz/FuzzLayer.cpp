// SPDX-License-Identifier: MIT
// The C++ layer: access units where the library's handles say that they begin, whatever the cuts; nothing
// lost; parameters as the library reads them; bounds on what is held; and no step outside the input. The
// choices stand at the end of the input, the stream before them.
#include "LayerFields.h"
#include "UnitModel.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>
#include <sanitizer/allocator_interface.h>

namespace {

using namespace nalsmith;
using unitmodel::Unit;

std::size_t held = 0;
std::size_t peak = 0;

void require(bool condition, int line = __builtin_LINE())
{
    if (condition)
        return;
    std::fprintf(stderr, "broken: line %d\n", line);
    std::abort();
}

struct Cuts {
    std::vector<std::size_t> sizes;
    bool self_contained = false;
    bool end_units = false; // after every piece
};

// What slice headers and SEI say, however the input is cut.
bool same_headers(const AccessUnit& a, const AccessUnit& b)
{
    return a.kind == b.kind && a.picture_order == b.picture_order && a.order_restarts == b.order_restarts &&
           a.entry() == b.entry() && a.sequence == b.sequence && a.slices.size() == b.slices.size();
}

std::vector<Unit> read(Codec codec, BytesView stream, const Cuts& cuts, Bytes* all = nullptr,
                       std::vector<AccessUnit>* described = nullptr)
{
    AccessUnitReader reader(codec, {.self_contained = cuts.self_contained});
    std::vector<Unit> units;
    std::uint64_t position = UINT64_MAX;
    const auto drain = [&] {
        while (const auto unit = reader.next()) {
            require(unit->inserted == 0 || (cuts.self_contained && unit->entry()));
            require(unit->zeros_left_out == 0 || cuts.end_units);
            require(position == UINT64_MAX || unit->position == position);
            require(unit->sequence.has_value() <= unit->has_picture);
            const std::size_t size = unit->bytes.size() - unit->inserted;
            position = unit->position + size + unit->zeros_left_out;
            units.push_back({static_cast<std::size_t>(unit->position), static_cast<std::size_t>(position),
                             unit->has_picture, unit->key, unit->reference});
            if (all != nullptr)
                append(*all, unit->bytes);
            if (described != nullptr)
                described->push_back(*unit);
        }
        require(reader.status() == Status::ok);
    };
    for (std::size_t i = 0; !stream.empty(); ++i) {
        const std::size_t size = cuts.sizes[i % cuts.sizes.size()] + 1;
        require(reader.push(stream.subview(0, size), i) == Status::ok);
        if (cuts.end_units)
            require(reader.end_unit() == Status::ok);
        drain();
        stream = stream.subview(size);
    }
    require(reader.finish() == Status::ok);
    drain();
    return units;
}

// The layer knows the chroma format of this profile, which the library passes over.
bool has_profile_135(BytesView stream)
{
    for (const NalUnit& nal : NalUnits(Codec::h264, stream))
        if (nal.type() == 7 && nal.header_byte(1) == 135)
            return true;
    return false;
}

// The library leaves out zeros after a NAL unit. Of one of zeros alone a bare start code stays, where its
// walk ends.
bool has_unit_of_zeros(Codec codec, BytesView bytes)
{
    for (const NalUnit& nal : NalUnits(codec, bytes))
        if (!nal.bare() && nal.payload().empty())
            return true;
    return false;
}

void use(Codec codec, BytesView unit, UserDataEditor& editor)
{
    static_cast<void>(sei_messages(codec, unit));
    const BytesView data = unit.subview(0, 40);
    if (const auto added = editor.add(unit, data)) {
        const auto again = editor.add(*added, data);
        require(again ? editor.get(*again).has_value() : has_unit_of_zeros(codec, unit));
    }
    if (const auto removed = editor.remove(unit)) {
        const Bytes once = removed->to_bytes();
        const auto twice = editor.remove(once);
        require(once.empty() || (twice && twice->to_bytes() == once));
        for (const SeiMessage& message : sei_messages(codec, once))
            require(message.type != kUserDataUnregistered);
    }
    Bytes prefixed;
    Bytes back;
    if (to_length_prefixed(codec, unit, 4, prefixed) == Status::ok)
        require(to_annex_b(prefixed, 4, back) == Status::ok);
    static_cast<void>(to_annex_b(unit, 1, back));
    CodecConfiguration configuration;
    static_cast<void>(read_avc_configuration(unit, configuration));
    static_cast<void>(read_hevc_configuration(unit, configuration));
    ParameterSets sets;
    sets.add_all(codec, unit);
    const bool avc = codec == Codec::h264;
    if (const auto record = avc ? write_avc_configuration(sets) : write_hevc_configuration(sets)) {
        require((avc ? read_avc_configuration(*record, configuration)
                     : read_hevc_configuration(*record, configuration)) == Status::ok);
        require(configuration.parameter_sets == sets.to_annex_b());
    }
}

// A message comes in among the others, and leaves with nothing else.
void edit_sei(Codec codec, BytesView unit, SeiEditor& editor)
{
    const SeiMessage message = {static_cast<std::uint32_t>(unit.size() % 300),
                                codec == Codec::h265 && unit.size() % 2 == 1, unit.subview(0, 40).to_bytes()};
    const auto same = [](const SeiMessage& a, const SeiMessage& b) {
        return a.type == b.type && a.suffix == b.suffix && a.payload == b.payload;
    };
    std::size_t found = 0;
    const auto is_it = [&](const SeiMessage& other) { return same(other, message) && ++found > 0; };
    const auto added = editor.add(unit, message.type, message.payload, message.suffix);
    require(added || editor.status() == Status::no_slice || editor.status() == Status::no_start_code);
    if (!added)
        return;
    const Bytes with = added->to_bytes();
    const auto before = sei_messages(codec, unit);
    auto after = sei_messages(codec, with);
    const auto [there, here] = std::mismatch(before.begin(), before.end(), after.begin(), after.end(), same);
    require(here != after.end() && same(*here, message));
    after.erase(here);
    require(std::equal(before.begin(), before.end(), after.begin(), after.end(), same));
    const auto left = editor.remove(unit, is_it);
    require(found != 0 || left->to_bytes() == unit.to_bytes());
    const std::size_t more = std::exchange(found, 0) + 1;
    const auto back = editor.remove(with, is_it);
    require(found == more && (more > 1 || back->to_bytes() == unit.to_bytes()));
}

void edit_user_data(BytesView unit, UserDataEditor& editor)
{
    Uuid uuid = UserDataEditor::uuid;
    std::copy_n(unit.begin(), std::min(unit.size(), uuid.size()), uuid.begin());
    const bool there = editor.get(unit, uuid).has_value();
    if (const auto added = editor.add(unit, uuid, unit)) {
        const auto found = editor.get(*added, uuid);
        require(found && (there || std::equal(found->begin(), found->end(), unit.begin(), unit.end())));
        const Bytes removed = editor.remove(*added, uuid)->to_bytes();
        require(!editor.get(removed, uuid));
    }
}

// Every SPS by itself, as the library reports it.
void compare_sequences(Codec codec, BytesView stream)
{
    for (const NalUnit& nal : NalUnits(codec, stream)) {
        ParameterSets sets;
        if (nal.type() != (codec == Codec::h264 ? 7U : 33U) || !sets.add(nal))
            continue;
        VideoInfo info = {};
        const ParsingHandle reader = make_parsing_handle(codec, 2, 1);
        const Bytes& piece = sets.all()[0].bytes;
        ParseVideoParams(reader.get(), piece.data(), detail::library_size(piece.size()), &info);
        ParseVideoParams(reader.get(), nullptr, 0, &info);
        const auto read = read_sequence(codec, sets, sets.all()[0].id);
        require(read && info.sequenceInfoValid == 1);
        const SequenceParameters expected = sequence_parameters(info);
        require(fields_of(*read) == fields_of(expected));
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // All of the allocator's blocks, so that what the layer holds can be bounded by what it was given.
    __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void* block, std::size_t) {
            held += __sanitizer_get_allocated_size(const_cast<const void*>(block));
            peak = held > peak ? held : peak;
        },
        [](const volatile void* block) {
            held -= __sanitizer_get_allocated_size(const_cast<const void*>(block));
        });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider choices(data, size);
    const Codec codec = choices.ConsumeBool() ? Codec::h265 : Codec::h264;
    Cuts cuts;
    cuts.sizes.resize(choices.ConsumeIntegralInRange<std::size_t>(1, 6));
    for (std::size_t& piece : cuts.sizes)
        piece = choices.ConsumeIntegralInRange<std::size_t>(0, 300);
    const Bytes stream = choices.ConsumeRemainingBytes<std::uint8_t>();
    if (codec == Codec::h264 && has_profile_135(stream))
        return 0;
    compare_sequences(codec, stream);

    Bytes all;
    std::vector<AccessUnit> described, at_once;
    const std::vector<Unit> units = read(codec, stream, cuts, &all, &described);
    require(units == read(codec, stream, {{size}}, nullptr, &at_once));
    require(units == unitmodel::Model(codec).cut(stream));
    const std::size_t start = detail::find_start_code(stream.data(), 0, stream.size());
    require(all.size() == stream.size() - start);
    require(all.empty() || std::memcmp(all.data(), stream.data() + start, all.size()) == 0);

    ContinuityChecker of_bytes(codec), of_units(codec);
    UserDataEditor editor(codec);
    SeiEditor sei_editor(codec);
    AccessUnitReader whole(codec, {.self_contained = true, .whole_units = true});
    for (std::size_t i = 0; i < units.size(); ++i) {
        const Unit& unit = units[i];
        const BytesView bytes = BytesView(stream).subview(unit.begin, unit.end - unit.begin);
        use(codec, bytes, editor);
        edit_sei(codec, bytes, sei_editor);
        edit_user_data(bytes, editor);
        const auto back = whole.read(bytes);
        require(back && back->key == unit.key && back->has_picture == unit.picture);
        require(same_headers(described[i], at_once[i]) && same_headers(described[i], *back));
        const Verdict verdict = of_bytes.check(back->bytes), same = of_units.check(*back);
        require(verdict.finding == same.finding && verdict.decodable == same.decodable);
    }
    peak = held;
    const std::size_t before = held;
    cuts.self_contained = true;
    require(read(codec, stream, cuts).size() == units.size());
    require(peak - before < 50'000 + 40 * stream.size());
    cuts.end_units = true;
    read(codec, stream, cuts);
    return 0;
}
