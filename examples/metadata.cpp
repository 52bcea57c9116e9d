// SPDX-License-Identifier: MIT
// Gives every frame of a stream its own metadata, and reads back what a file carries:
//   metadata add IN OUT    metadata show IN
#include "Files.h"

#include <cstdio>
#include <string>

namespace {

using nalsmith::BytesView;

template <typename Use>
bool for_each_unit(const char* file, nalsmith::Codec codec, Use use)
{
    nalsmith::AccessUnitReader reader(codec);
    bool good = true;
    const auto drain = [&] {
        while (const auto unit = reader.next())
            good = use(*unit) && good;
        return good;
    };
    good = for_each_piece(
        file, 65536, [&](BytesView piece) { return reader.push(piece) == nalsmith::Status::ok && drain(); });
    return reader.finish() == nalsmith::Status::ok && drain();
}

bool add(const char* from, const char* to)
{
    const nalsmith::Codec codec = codec_of(from);
    nalsmith::UserDataEditor editor(codec);
    std::ofstream out(to, std::ios::binary);
    unsigned count = 0;
    const auto edit = [&](const nalsmith::AccessUnit& unit) {
        BytesView bytes = unit.bytes;
        if (unit.has_picture) {
            const std::string text = "frame " + std::to_string(count++);
            const auto edited = editor.add(bytes, text);
            if (!edited)
                return false;
            bytes = *edited;
        }
        write(out, bytes);
        return true;
    };
    return for_each_unit(from, codec, edit) && out.flush().good();
}

bool show(const char* from)
{
    const nalsmith::Codec codec = codec_of(from);
    nalsmith::UserDataEditor editor(codec);
    return for_each_unit(from, codec, [&](const nalsmith::AccessUnit& unit) {
        const auto data = editor.get(unit.bytes);
        std::printf("%.*s\n", data ? static_cast<int>(data->size()) : 1,
                    data ? reinterpret_cast<const char*>(data->data()) : "-");
        return editor.status() == nalsmith::Status::ok;
    });
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::string(argv[1]) == "add")
        return add(argv[2], argv[3]) ? 0 : 1;
    return argc == 3 && std::string(argv[1]) == "show" && show(argv[2]) ? 0 : 1;
}
