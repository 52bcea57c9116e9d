// SPDX-License-Identifier: MIT
// A general-purpose library on the same streams, as a yardstick: its parser cuts access units and reads their
// headers, its bitstream filters put user data in and take SEI out.
#include "Layer.h"

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavutil/opt.h>
}

namespace {

using benchmark::State;

// Input must be followed by readable bytes.
std::vector<Bytes> Padded(const std::vector<Bytes>& units)
{
    std::vector<Bytes> padded;
    for (const Bytes& unit : units)
        padded.push_back(unit + Bytes(AV_INPUT_BUFFER_PADDING_SIZE, 0));
    return padded;
}

void Parse(State& state, const Shape& shape)
{
    const Stream stream = MakeStream(shape);
    const std::vector<Bytes> units = Padded(stream.units);
    const AVCodecID id = shape.codec == VideoCodecAVC ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC;
    AVCodecParserContext* parser = av_parser_init(id);
    AVCodecContext* context = avcodec_alloc_context3(avcodec_find_decoder(id));
    for (auto _ : state)
        for (const Bytes& unit : units) {
            const u8* at = unit.data();
            int left = static_cast<int>(unit.size()) - AV_INPUT_BUFFER_PADDING_SIZE;
            while (left > 0) {
                u8* out = nullptr;
                int outSize = 0;
                const int used = av_parser_parse2(parser, context, &out, &outSize, at, left, AV_NOPTS_VALUE,
                                                  AV_NOPTS_VALUE, 0);
                at += used;
                left -= used;
            }
        }
    state.SetBytesProcessed(static_cast<i64>(state.iterations() * stream.bytes));
    avcodec_free_context(&context);
    av_parser_close(parser);
}

// A stream in the pieces that the layer gets: no program that reads a file or a socket has access units yet.
void ParsePieces(State& state, const LayerInput& input)
{
    const Bytes file = input.file + Bytes(AV_INPUT_BUFFER_PADDING_SIZE, 0);
    const AVCodecID id = input.stream.shape.codec == VideoCodecAVC ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC;
    AVCodecParserContext* parser = av_parser_init(id);
    AVCodecContext* context = avcodec_alloc_context3(avcodec_find_decoder(id));
    RunLayer(state, input, [&] {
        std::size_t units = 0;
        for (std::size_t begin = 0; begin < input.file.size(); begin += kPiece) {
            const u8* at = file.data() + begin;
            int left = static_cast<int>(std::min(kPiece, input.file.size() - begin));
            while (left > 0) {
                u8* out = nullptr;
                int outSize = 0;
                const int used = av_parser_parse2(parser, context, &out, &outSize, at, left, AV_NOPTS_VALUE,
                                                  AV_NOPTS_VALUE, 0);
                benchmark::DoNotOptimize(out);
                units += outSize > 0 ? 1 : 0;
                at += used;
                left -= used;
            }
        }
        return units;
    });
    avcodec_free_context(&context);
    av_parser_close(parser);
}

void Filter(State& state, const Stream& stream, const char* name, const char* option, const char* value)
{
    const std::vector<Bytes> units = Padded(stream.units);
    AVBSFContext* filter = nullptr;
    av_bsf_alloc(av_bsf_get_by_name(name), &filter);
    filter->par_in->codec_id = stream.shape.codec == VideoCodecAVC ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC;
    av_opt_set(filter->priv_data, option, value, 0);
    av_bsf_init(filter);
    AVPacket* packet = av_packet_alloc();
    for (auto _ : state)
        for (const Bytes& unit : units) {
            packet->buf = av_buffer_create(
                const_cast<u8*>(unit.data()), unit.size(), [](void*, u8*) {}, nullptr,
                AV_BUFFER_FLAG_READONLY);
            packet->data = const_cast<u8*>(unit.data());
            packet->size = static_cast<int>(unit.size()) - AV_INPUT_BUFFER_PADDING_SIZE;
            u32 made = 0;
            for (av_bsf_send_packet(filter, packet); av_bsf_receive_packet(filter, packet) == 0; ++made)
                av_packet_unref(packet);
            if (made != 1)
                state.SkipWithError("an access unit did not come out of the filter");
        }
    state.SetBytesProcessed(static_cast<i64>(state.iterations() * stream.bytes));
    av_packet_free(&packet);
    av_bsf_free(&filter);
}

} // namespace

void RegisterLibavcodec()
{
    constexpr const char* kMessage =
        "086f3693-b7b3-4f2c-9653-21492feee5b8+xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"
        "xxxxxxxxxxxxxxxxxxxxxx";
    for (const VideoCodecType codec : {VideoCodecAVC, VideoCodecHEVC})
        for (const auto& [bytes, slices] :
             {std::pair{40'000u, 1u}, {500'000u, 1u}, {500'000u, 8u}, {2'054u, 1u}, {2'054u, 13u}}) {
            const Shape shape{codec, bytes, slices};
            benchmark::RegisterBenchmark(("read/" + shape.Name() + "/libavcodec").c_str(),
                                         [shape](State& state) { Parse(state, shape); });
            if (codec == VideoCodecAVC)
                benchmark::RegisterBenchmark(
                    ("add64/" + shape.Name() + "/libavcodec").c_str(), [shape](State& state) {
                        Filter(state, MakeStream(shape), "h264_metadata", "sei_user_data", kMessage);
                    });
            benchmark::RegisterBenchmark(
                ("remove/" + shape.Name() + "/libavcodec").c_str(), [shape](State& state) {
                    Filter(state, WithUserData(MakeStream(shape), 64), "filter_units", "remove_types",
                           shape.codec == VideoCodecAVC ? "6" : "39");
                });
        }
}

void RegisterLibavcodecLayer()
{
    for (const LayerInput& input : LayerInputs())
        RegisterLayerRow("layer/" + input.stream.shape.Name() + "/libavcodec",
                         [&input](State& state) { ParsePieces(state, input); });
}
