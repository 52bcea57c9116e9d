// SPDX-License-Identifier: MIT
// One MP4 file with one video track, written by libavformat.
#pragma once

#include <nalsmith/nalsmith.hpp>

#include <algorithm>
#include <cstdio>
#include <string>

extern "C" {
#include <libavformat/avformat.h>
}

class Mp4File {
public:
    Mp4File(const std::string& name, nalsmith::Codec codec, const nalsmith::Bytes& record,
            const nalsmith::SequenceParameters& sequence)
    {
        if (sequence.frame_rate_num != 0 && sequence.frame_rate_den != 0)
            frame_ = {int(sequence.frame_rate_den), int(sequence.frame_rate_num)};
        avformat_alloc_output_context2(&file_, nullptr, "mp4", name.c_str());
        AVStream* const stream = avformat_new_stream(file_, nullptr);
        stream->time_base = frame_;
        AVCodecParameters& video = *stream->codecpar;
        const bool avc = codec == nalsmith::Codec::h264;
        video.codec_type = AVMEDIA_TYPE_VIDEO;
        video.codec_id = avc ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC;
        video.codec_tag = avc ? MKTAG('a', 'v', 'c', '1') : MKTAG('h', 'v', 'c', '1');
        video.width = int(sequence.width);
        video.height = int(sequence.height);
        video.extradata =
            static_cast<std::uint8_t*>(av_mallocz(record.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        video.extradata_size = int(record.size());
        std::copy(record.begin(), record.end(), video.extradata);
        good_ = avio_open(&file_->pb, name.c_str(), AVIO_FLAG_WRITE) >= 0 &&
                avformat_write_header(file_, nullptr) >= 0;
    }
    Mp4File(const Mp4File&) = delete;
    Mp4File& operator=(const Mp4File&) = delete;
    ~Mp4File()
    {
        if (good_ && av_write_trailer(file_) == 0)
            std::printf("%s: %d frames\n", file_->url, frames_);
        avio_closep(&file_->pb);
        avformat_free_context(file_);
    }

    // The next frame in decoding order; times are in frames.
    bool write(nalsmith::Bytes& sample, bool key, std::int64_t dts, std::int64_t pts)
    {
        AVPacket* packet = av_packet_alloc();
        packet->data = sample.data();
        packet->size = int(sample.size());
        packet->flags = key ? AV_PKT_FLAG_KEY : 0;
        packet->dts = dts;
        packet->pts = pts;
        packet->duration = 1;
        av_packet_rescale_ts(packet, frame_, file_->streams[0]->time_base);
        good_ = good_ && av_write_frame(file_, packet) >= 0;
        av_packet_free(&packet);
        frames_ += good_ ? 1 : 0;
        return good_;
    }

private:
    AVFormatContext* file_ = nullptr;
    AVRational frame_ = {1, 25}; // seconds; where the stream does not tell, 25 frames a second
    int frames_ = 0;
    bool good_ = false;
};
