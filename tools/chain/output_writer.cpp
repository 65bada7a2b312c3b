#include "chain/output_writer.h"

#include "chain/rate_stage.h"
#include "sound/audio_writer.h"
#include "sound/bit_rate.h"
#include "sound/raw_writer.h"
#include "sound/wav_header.h"

#include <cmath>
#include <cstring>

namespace sorvane::tools {

namespace {

constexpr int rateOfOpus = 48000;

bool isOpusFile(const std::string& path) {
    return extensionOf(path) == "opus";
}

/// A broadcast record tells where in the day its first sample lies.
void moveTimeReference(AudioChunks& chunks, double startSeconds, int rateBefore, int rateAfter) {
    if (chunks.broadcast.empty())
        return;
    SF_BROADCAST_INFO info;
    std::memcpy(&info, chunks.broadcast.data(), sizeof info);
    const std::uint64_t before =
        std::uint64_t{info.time_reference_high} << 32U | info.time_reference_low;
    const double seconds = static_cast<double>(before) / rateBefore + startSeconds;
    const auto after = static_cast<std::uint64_t>(std::llround(seconds * rateAfter));
    info.time_reference_low = static_cast<std::uint32_t>(after);
    info.time_reference_high = static_cast<std::uint32_t>(after >> 32U);
    std::memcpy(chunks.broadcast.data(), &info, sizeof info);
}

/// The input's tags, if the output is of the same kind.
LeadingTags tagsFor(int outputFormat, const AudioSource& source) {
    const int container = outputFormat & SF_FORMAT_TYPEMASK;
    LeadingTags tags = source.leadingTags();
    const bool fits = tags.kind == LeadingTags::Kind::flac ? container == SF_FORMAT_FLAC
                                                           : container == SF_FORMAT_MPEG;
    return fits ? tags : LeadingTags{};
}

AudioDescription descriptionOf(const AudioSource& source, int outputRate, int outputFormat,
                               const ProcessOptions& options) {
    AudioDescription description;
    description.sampleRate = outputRate;
    description.channels = source.channels();
    description.texts = source.texts();
    description.channelMap = source.channelMap();
    description.chunks = source.chunks();
    moveTimeReference(description.chunks, options.start, source.sampleRate(), outputRate);
    if (options.start > 0.0 || outputRate != source.sampleRate())
        description.chunks.cues.clear(); // their places are counted in samples
    description.tags = tagsFor(outputFormat, source);
    if (description.tags.kind != LeadingTags::Kind::none)
        description.texts.clear(); // they are among the tags
    description.bitRate = options.kilobits ? std::int64_t{*options.kilobits} * 1000
                                           : neededBitRate(outputFormat, source.format(),
                                                           source.bitRate(), source.channels());
    return description;
}

/// WAV on standard output, where no header can be completed at the end.
Writer openStream(const AudioSource& source, std::int64_t length, int outputRate,
                  const ProcessOptions& options) {
    const OutputFormat format =
        chooseOutputFormat({"stdout.wav", source.format(), outputRate, source.channels(),
                            unknownLength, options.sampleType});
    const RawFormat* found = findRawFormat(format.format & SF_FORMAT_SUBMASK);
    const RawFormat& raw = found != nullptr ? *found : *findRawFormat(SF_FORMAT_FLOAT);
    // The header of a recording can be wrong, but not that of a stream that ends by it.
    const std::int64_t bytes =
        length == unknownLength ? -1 : length * source.channels() * raw.bytesPerSample();
    return {std::make_unique<RawWriter>("-", raw, source.channels(),
                                        wavHeaderText(raw, outputRate, source.channels(), bytes)),
            raw.integerBits};
}

} // namespace

int rateOfOutput(const OutputPlan& plan, const AudioSource& source, const ProcessOptions& options) {
    int rate = options.outputRate.value_or(source.sampleRate());
    const bool suitsOpus = rate == 8000 || rate == 12000 || rate == 16000 || rate == 24000;
    if (isOpusFile(plan.path) && !options.outputRate && !options.rawOutput && !suitsOpus)
        rate = rateOfOpus;
    if (rate != source.sampleRate())
        RateStage::requireConvertible(source.sampleRate(), rate);
    return rate;
}

Writer openWriter(const OutputPlan& plan, const AudioSource& source, std::int64_t length,
                  int outputRate, const ProcessOptions& options, MediaWriter* media) {
    if (media != nullptr)
        return {media->openTrack(), 0};
    if (options.rawOutput)
        return {std::make_unique<RawWriter>(plan.path, *options.rawOutput, source.channels()),
                options.rawOutput->integerBits};
    if (length != unknownLength)
        length = RateStage::lengthAfter(length, source.sampleRate(), outputRate);
    if (plan.path == "-")
        return openStream(source, length, outputRate, options);
    const OutputFormat format = chooseOutputFormat(
        {plan.path, source.format(), outputRate, source.channels(), length, options.sampleType});
    return {std::make_unique<AudioWriter>(
                plan.path, format, descriptionOf(source, outputRate, format.format, options)),
            format.integerBits};
}

} // namespace sorvane::tools
