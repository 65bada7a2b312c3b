#include "run/file_job.h"

#include "console/program_error.h"
#include "console/text.h"
#include "run/track_pass.h"
#include "sound/audio_input.h"

#include <chrono>
#include <memory>

namespace sorvane::tools {

namespace {

class FileJob {
public:
    FileJob(const FilePlan& filePlan, const ProcessOptions& processOptions, Console& errors)
        : plan(filePlan),
          options(processOptions),
          console(errors),
          input(filePlan.input, options.rawInput) {}

    FileReport run() {
        const auto begin = std::chrono::steady_clock::now();
        const std::vector<int> tracks = chosenTracks();
        std::vector<std::unique_ptr<MediaWriter>> files(plan.outputs.size());
        std::vector<MediaWriter*> media(plan.outputs.size());
        std::vector<std::unique_ptr<TrackPass>> passes;
        double missing = 1.0;
        for (const int track : tracks) {
            std::unique_ptr<AudioSource> source = input.open(track);
            if (passes.empty() && makesMedia())
                for (std::size_t i = 0; i < files.size(); ++i) {
                    files[i] = openMedia(plan.outputs[i].path, tracks, *source);
                    media[i] = files[i].get();
                }
            const double share = 1.0 / static_cast<double>(tracks.size());
            passes.push_back(std::make_unique<TrackPass>(
                plan.input, std::move(source), plan.outputs, options, media, share, console));
            passes.back()->run();
            missing += passes.back()->missing() - share;
        }
        for (const auto& pass : passes)
            pass->commit();
        FileReport result;
        result.input = plan.input;
        for (const auto& pass : passes)
            pass->report(result);
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
        result.processingSeconds = elapsed.count();
        console.endFile(missing);
        return result;
    }

private:
    [[nodiscard]] bool makesMedia() const {
        const std::string& path = plan.outputs.front().path;
        return !options.rawOutput && path != "-" && findMediaFormat(extensionOf(path)) != nullptr;
    }

    /// From 0: what was asked for; or all, where the output holds several; or the first.
    [[nodiscard]] std::vector<int> chosenTracks() const {
        const int count = input.numTracks();
        if (options.track) {
            if (*options.track > count)
                throw ProgramError(exitUsage, "--track: " + inQuotes(plan.input) + " has " +
                                                  std::to_string(count) + " audio track" +
                                                  (count == 1 ? "" : "s"));
            return {*options.track - 1};
        }
        std::vector<int> tracks{0};
        if (count > 1 && !makesMedia())
            console.warn(inQuotes(plan.input) + " has " + std::to_string(count) +
                         " audio tracks, of which this takes the first; --track takes another");
        while (makesMedia() && static_cast<int>(tracks.size()) < count)
            tracks.push_back(static_cast<int>(tracks.size()));
        return tracks;
    }

    std::unique_ptr<MediaWriter> openMedia(const std::string& path, const std::vector<int>& tracks,
                                           const AudioSource& source) {
        const MediaInfo& info = input.media();
        const std::vector<MediaStream> known = info.audioTracks();
        std::vector<MediaTrack> newTracks;
        for (const int track : tracks) {
            MediaTrack added;
            added.sampleRate = source.sampleRate();
            added.channels = source.channels();
            if (!known.empty()) {
                added.original = known.at(static_cast<std::size_t>(track));
                added.sampleRate = added.original.sampleRate;
                added.channels = added.original.channels;
            }
            added.sampleRate = options.outputRate.value_or(added.sampleRate);
            newTracks.push_back(added);
        }
        return std::make_unique<MediaWriter>(path, known.empty() ? "" : input.path(), info,
                                             std::move(newTracks), options.kilobits);
    }

    const FilePlan& plan;
    const ProcessOptions& options;
    Console& console;
    AudioInput input;
};

} // namespace

FileReport runFile(const FilePlan& plan, const ProcessOptions& options, Console& console) {
    return FileJob(plan, options, console).run();
}

} // namespace sorvane::tools
