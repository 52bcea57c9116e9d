// SPDX-License-Identifier: MIT
// Frames made up at random, of pieces that tell what is to become of them.
#include "UserData.h"

#include <optional>
#include <random>

namespace {

using namespace userdatatest;

// A NAL unit of a frame made up at random. Only SEI has messages: {payload type, payload}.
struct Piece {
    enum { Other, Slice, Sei } kind;
    Bytes unit = {};
    u32 startCodeSize = 4;
    std::vector<std::pair<u32, Bytes>> messages = {};

    Bytes Messages(bool withUserData = true) const
    {
        Bytes all;
        for (const auto& [type, payload] : messages)
            all = all + (withUserData || type != 5 ? Message(type, payload) : Bytes{});
        return all;
    }
};

class Frames {
public:
    explicit Frames(const Format& format) : f_(format) {}

    Bytes Content(u32 most)
    {
        constexpr u8 kTelling[] = {0, 0, 0, 1, 2, 3, 5, 0x80, 0xff};
        Bytes bytes(random_() % (random_() % 8 != 0 ? 40 : most), 0);
        for (u8& byte : bytes)
            byte = random_() % 4 != 0 ? kTelling[random_() % sizeof kTelling] : static_cast<u8>(random_());
        return bytes;
    }

    std::vector<Piece> Next()
    {
        std::vector<Piece> pieces(random_() % 7);
        bool zeros = false; // behind them only a longer start code is seen as it is
        for (Piece& piece : pieces) {
            piece.startCodeSize = zeros || random_() % 2 == 0 ? 4 : 3;
            zeros = random_() % 3 == 0;
            const auto kind = random_() % 5;
            if (kind < 2)
                FillSei(piece);
            else
                Fill(piece, kind == 2 ? Piece::Other : Piece::Slice);
            piece.unit = piece.unit + Bytes(zeros ? 1 + random_() % 4 : 0, 0);
        }
        return pieces;
    }

private:
    void FillSei(Piece& piece)
    {
        constexpr u32 kTypes[] = {0, 1, 5, 5, 5, 6, 128, 255, 260};
        piece.kind = Piece::Sei;
        for (u32 i = random_() % 4; i > 0; --i) {
            const u32 type = kTypes[random_() % std::size(kTypes)];
            piece.messages.emplace_back(type, (random_() % 2 == 0 ? kUuid : Bytes{}) + Content(700));
        }
        piece.unit = f_.Sei(piece.Messages(), piece.startCodeSize);
    }
    void Fill(Piece& piece, decltype(Piece::kind) kind)
    {
        piece.kind = kind;
        const u32 type = kind == Piece::Slice ? f_.lastSlice
                         : random_() % 2 == 0 ? f_.delimiter
                                              : f_.parameterSet;
        piece.unit = f_.Unit(type, Content(3000) + "55"_bytes, piece.startCodeSize);
    }

    const Format& f_;
    std::mt19937 random_{62};
};

class UserDataFrames : public testing::TestWithParam<Format> {};

TEST_P(UserDataFrames, ComeOutAsTheirPiecesSay)
{
    const Format& f = GetParam();
    const UserDataHandle handle(f.codec);
    Frames frames(f);
    for (int i = 0; i < 3000 && !HasFailure(); ++i) {
        const Bytes data = frames.Content(900);
        const std::vector<Piece> pieces = frames.Next();
        Bytes frame, added, removed;
        std::optional<Bytes> held;
        bool placed = false;
        for (const Piece& piece : pieces) {
            const bool places = piece.kind != Piece::Other && !placed;
            frame = frame + piece.unit;
            if (piece.kind == Piece::Sei) {
                added = added + f.Sei(piece.Messages() + (places ? Own(data) : Bytes{}), piece.startCodeSize);
                const Bytes kept = piece.Messages(false);
                removed = removed + (kept.empty() ? Bytes{} : f.Sei(kept));
            } else {
                added =
                    added + (places && piece.kind == Piece::Slice ? f.Sei(Own(data)) : Bytes{}) + piece.unit;
                removed = removed + piece.unit;
            }
            placed = placed || places;
            for (const auto& [type, payload] : piece.messages)
                if (type == 5 && payload.size() >= 16 && payload.From(0, 16) == kUuid)
                    held = payload.From(16, payload.size() - 16);
        }
        const Edited found = handle.Find(frame);
        EXPECT_EQ(found.Content(), held.value_or(Bytes{}));
        EXPECT_EQ(found.Nothing(), !held.has_value());
        const Edited out = handle.Add(frame, data);
        EXPECT_EQ(out.status, placed ? 0 : -1);
        EXPECT_EQ(out.Content(), added);
        EXPECT_EQ(handle.Remove(frame).Content(), removed);
        EXPECT_EQ(handle.Remove(added).Content(), removed);
    }
}

INSTANTIATE_TEST_SUITE_P(Codecs, UserDataFrames, testing::ValuesIn(kFormats), NameOf);

} // namespace
