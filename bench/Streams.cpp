// SPDX-License-Identifier: MIT
#include "Streams.h"

#include "BitWriter.h"

#include <random>

namespace {

Bytes AvcParameterSets()
{
    const Bytes sps = BitWriter()
                          .u(8, 66)
                          .u(8, 0x40)
                          .u(8, 40)
                          .ue(0) // profile_idc, constraint flags, level_idc, id
                          .ue(4)
                          .ue(0)
                          .ue(4) // frame_num of 8 bits, pic_order_cnt_lsb of 8 bits
                          .ue(1)
                          .u(1, 0)
                          .ue(119)
                          .ue(67) // 1920x1088
                          .u(1, 1)
                          .u(1, 1)
                          .u(1, 0)
                          .u(1, 0)
                          .TrailingBits()
                          .Take();
    const Bytes pps = BitWriter()
                          .ue(0)
                          .ue(0)
                          .u(2, 0)
                          .ue(0)
                          .ue(0)
                          .ue(0)
                          .u(3, 0)
                          .ue(0)
                          .ue(0)
                          .ue(0)
                          .u(3, 0)
                          .TrailingBits()
                          .Take();
    return NalUnitOf("67"_bytes + sps, 4) + NalUnitOf("68"_bytes + pps, 4);
}

Bytes AvcSliceHead(u32 picture, u32 slice)
{
    const bool idr = picture == 0;
    BitWriter out;
    out.ue(slice % 8160).ue(7).ue(0).u(8, picture % 256);
    if (idr)
        out.ue(0);
    out.u(8, 2 * picture % 256).u(idr ? 2 : 1, 0); // and no memory management control operation
    return Bytes{static_cast<u8>(idr ? 0x65 : 0x41)} + out.TrailingBits().Take();
}

Bytes HevcParameterSets()
{
    BitWriter profile; // profile_tier_level() without sub-layers
    profile.u(8, 1).u(32, 0x60000000).u(4, 9).u(44, 0).u(8, 93);
    const auto withProfile = [&](BitWriter head) {
        for (const u8 byte : profile.Take())
            head.u(8, byte);
        return head;
    };
    const Bytes vps = withProfile(BitWriter().u(4, 0).u(2, 3).u(6, 0).u(3, 0).u(1, 1).u(16, 0xFFFF))
                          .u(1, 1)
                          .ue(4)
                          .ue(2)
                          .ue(0)
                          .u(6, 0)
                          .ue(0)
                          .u(1, 0)
                          .u(1, 0)
                          .TrailingBits()
                          .Take();
    const Bytes sps = withProfile(BitWriter().u(4, 0).u(3, 0).u(1, 1))
                          .ue(0)
                          .ue(1)
                          .ue(1920)
                          .ue(1080)
                          .u(1, 0)
                          .ue(0)
                          .ue(0)
                          .ue(4) // pic_order_cnt_lsb of 8 bits
                          .u(1, 1)
                          .ue(4)
                          .ue(2)
                          .ue(0)
                          .ue(0)
                          .ue(3)
                          .ue(0)
                          .ue(3)
                          .ue(0)
                          .ue(0)
                          .u(1, 0)
                          .u(2, 3)
                          .u(1, 0)
                          .ue(0)
                          .u(1, 0)
                          .u(2, 3)
                          .u(1, 0)
                          .u(1, 0)
                          .TrailingBits()
                          .Take();
    const Bytes pps = BitWriter()
                          .ue(0)
                          .ue(0)
                          .u(7, 0)
                          .ue(0)
                          .ue(0)
                          .ue(0) // num_ref_idx defaults, init_qp_minus26
                          .u(3, 0)
                          .ue(0)
                          .ue(0) // chroma QP offsets
                          .u(10, 0)
                          .ue(0) // log2_parallel_merge_level_minus2
                          .u(2, 0)
                          .TrailingBits()
                          .Take();
    return NalUnitOf("40 01"_bytes + vps, 4) + NalUnitOf("42 01"_bytes + sps, 4) +
           NalUnitOf("44 01"_bytes + pps, 4);
}

Bytes HevcSliceHead(u32 picture, u32 slice)
{
    const bool idr = picture == 0;
    BitWriter out;
    out.u(1, slice == 0);
    if (idr)
        out.u(1, 0);
    out.ue(0);
    if (slice != 0)
        out.u(9, slice); // slice_segment_address
    out.ue(2);
    if (!idr)
        out.u(8, picture % 256).u(1, 0).ue(2).ue(0).ue(0).u(1, 1).ue(0).u(1, 1); // refers to the two before
    return Bytes{static_cast<u8>(idr ? 0x26 : 0x02), 0x01} + out.TrailingBits().Take();
}

// A slice NAL unit of `size` bytes.
Bytes SliceNalUnit(Bytes head, u32 size, std::mt19937& random)
{
    while (head.size() + 5 < size)
        head.push_back(static_cast<u8>(random()));
    head.push_back(0x80);
    return NalUnitOf(head, 4);
}

} // namespace

std::string Shape::Name() const
{
    const std::string size = accessUnitBytes >= 1'000'000 ? std::to_string(accessUnitBytes / 1'000'000) + "MB"
                             : accessUnitBytes >= 1000    ? std::to_string(accessUnitBytes / 1000) + "KB"
                                                          : std::to_string(accessUnitBytes) + "B";
    return (codec == VideoCodecAVC ? "avc/" : "hevc/") + size + "/" + std::to_string(slices);
}

Stream MakeStream(const Shape& shape, u64 totalBytes, u64 fewestUnits)
{
    const bool avc = shape.codec == VideoCodecAVC;
    std::mt19937 random(1);
    Stream stream{shape, {}, 0, 0};
    const u64 count = std::max(fewestUnits, totalBytes / shape.accessUnitBytes);
    for (u32 picture = 0; picture < count; ++picture) {
        Bytes unit = avc ? "00 00 00 01 09 f0"_bytes : "00 00 00 01 46 01 50"_bytes;
        if (picture == 0)
            unit = unit + (avc ? AvcParameterSets() : HevcParameterSets());
        for (u32 slice = 0; slice < shape.slices; ++slice)
            unit = unit + SliceNalUnit(avc ? AvcSliceHead(picture, slice) : HevcSliceHead(picture, slice),
                                       shape.accessUnitBytes / shape.slices, random);
        stream.bytes += unit.size();
        stream.largest = std::max(stream.largest, unit.Size());
        stream.units.push_back(std::move(unit));
    }
    return stream;
}

Stream WithUserData(const Stream& stream, u32 size)
{
    const Bytes data(size, 'x');
    void* handle = nullptr;
    UserDataCreate(&handle, stream.shape.codec);
    Stream edited{stream.shape, {}, 0, 0};
    for (const Bytes& unit : stream.units) {
        const u8* frame = nullptr;
        u32 frameSize = 0;
        AddUserData(handle, unit.data(), unit.Size(), data.data(), size, &frame, &frameSize);
        edited.units.emplace_back(frame, frame + frameSize);
        edited.bytes += frameSize;
        edited.largest = std::max(edited.largest, frameSize);
    }
    UserDataRelease(handle);
    return edited;
}
