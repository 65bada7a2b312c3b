#pragma once

#include "sound/output_file.h"

#include <string>

namespace sorvane::tools {

/// What describes an MP3 or FLAC file before its audio, byte for byte, so that it can go into another
/// file of the kind whatever it holds: titles, cover art, chapters, lyrics.
struct LeadingTags {
    enum class Kind { none, mp3, flac };

    Kind kind = Kind::none;
    std::string bytes; ///< an ID3v2 tag, or FLAC's blocks without that of the stream itself
};

/// Reads the tags of a file; Kind::none where there are none.
LeadingTags readLeadingTags(const std::string& path);

/// Puts tags in the place of those that a whole file of the same kind has. A file of another kind
/// stays as it is.
void replaceLeadingTags(OutputFile& file, const LeadingTags& tags);

} // namespace sorvane::tools
