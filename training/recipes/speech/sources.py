"""The recordings: which Debian packages, which files of them, what for, and under which licence.

The parts never meet: nothing of "valid" is trained on, and nothing of "test" is trained on or looked at
when something is chosen.
"""

import re
from dataclasses import dataclass


@dataclass(frozen=True)
class Source:
    package: str  # Debian's name, or PACK
    name: str  # of the stored array
    kind: str  # "voice", "noise", "keys" or "music"
    part: str  # "train", "valid" or "test"
    pattern: str  # regular expression on the path within the package
    licence: str
    credit: str

    def takes(self, path):
        return re.search(self.pattern, path) is not None


OWN = "own"  # recordings of the user's, which `own.py` stores
PACK = "pack"  # the folder that `fetch.py --pack` reads; `pattern` is a folder of its

CC_BY_SA = "CC-BY-SA-3.0"
CC_BY = "CC-BY-3.0"
SMITH = "Allison Smith"
KENDRICK = "Bill Kendrick and the authors of Tux Paint stamps"
FISH = "ALTAR interactive, Ivo Danihelka and the authors of Fish Fillets NG"
COLOBOT = "Daniel Roux, EPSITEC SA and TerranovaTeam"
HEDGEWARS = "Andrey Korotaev and the Hedgewars project"
RACER = "the Extreme Tux Racer team"
WESNOTH = "the authors of The Battle for Wesnoth"
LINCITY = "the authors of LinCity-NG"

# Prompts of silence, tones and single letters spoken over music would teach nothing about voices.
PROMPTS = r"/sounds/[^/]+/(?!silence/)(?!beep)(?!.*tone).*\.g722$"
# One key in four, by the code in its name, is kept for the test.
TEST_KEYS = r"/wav/[0-9a-f][048c]-[01]\.wav$"
TRAIN_KEYS = r"/wav/[0-9a-f][1235679abdef]-[01]\.wav$"


def _stamps(language, part="train"):
    return Source("tuxpaint-stamps-default", f"stamps-{language}", "voice", part,
                  rf"_desc_{language}\.ogg", "GPL-2", KENDRICK)


SOURCES = [
    Source("asterisk-core-sounds-en-g722", "prompts-en", "voice", "train", PROMPTS, CC_BY_SA, SMITH),
    Source("asterisk-core-sounds-es-g722", "prompts-es", "voice", "train", PROMPTS, CC_BY_SA, SMITH),
    Source("asterisk-core-sounds-it-g722", "prompts-it", "voice", "train", PROMPTS, CC_BY,
           "Carlo Flora, translated by Silvia Petrin"),
    Source("fillets-ng-data-cs", "fillets-cs", "voice", "train", r"\.ogg$", "GPL-2", FISH),
    Source("fillets-ng-data-nl", "fillets-nl", "voice", "train", r"\.ogg$", "GPL-2", FISH),
    Source("tuxpaint-stamps-default", "stamps-en", "voice", "train", r"_desc\.ogg$", "GPL-2", KENDRICK),
    *[_stamps(language) for language in ["be", "bg", "da", "el", "es", "lt", "ro"]],
    _stamps("ca", "valid"),
    Source("bucklespring-data", "keys", "keys", "train", TRAIN_KEYS, "GPL-2+", "Ico Doornekamp"),
    Source("colobot-common-sounds", "colobot-sounds", "noise", "train", r"/sounds/.*\.wav$", "GPL-3+",
           COLOBOT),
    Source("colobot-common-sounds", "colobot-music", "music", "train", r"/music/.*\.ogg$", "GPL-3+",
           COLOBOT),
    Source("hedgewars-data", "hedgewars-sounds", "noise", "train",
           r"/Sounds/(?!(countdown|custom|hell_|hogchant|Yoohoo|Kiss))[^/]*\.ogg$", "GFDL-1.3 and "
           + CC_BY_SA, HEDGEWARS),
    Source("hedgewars-data", "hedgewars-music", "music", "train", r"/Music/.*\.ogg$", "GPL-2",
           HEDGEWARS),
    Source("sound-icons", "sound-icons", "noise", "train", r"\.wav$", "GPL-2+", "Brailcom, o.p.s."),
    Source("sound-theme-freedesktop", "theme", "noise", "train", r"/(?!audio-channel)[^/]*\.oga$",
           "CC-BY-SA-3.0, CC-BY-3.0, GPL-2+ and GPL-2", "the authors of the freedesktop.org sound theme"),
    Source("wesnoth-1.16-music", "wesnoth-music", "music", "train", r"\.ogg$", "GPL-2+", WESNOTH),
    Source("freedroid-data", "freedroid-sounds", "noise", "valid", r"\.wav$", "GPL-2+",
           "Johannes Prix, Reinhard Prix and others"),
    Source("extremetuxracer-data", "racer-sounds", "noise", "valid", r"/sounds/.*\.wav$", "GPL-2+",
           RACER),
    Source("extremetuxracer-data", "racer-music", "music", "valid", r"/music/.*\.ogg$", "GPL-2+", RACER),
    Source("asterisk-core-sounds-fr-g722", "prompts-fr", "voice", "test", PROMPTS, CC_BY_SA,
           "June Wallack"),
    Source("asterisk-core-sounds-ru-g722", "prompts-ru", "voice", "test", PROMPTS, CC_BY, "Maxim Topal"),
    Source("asterisk-moh-opsound-g722", "opsound-music", "music", "test", r"\.g722$", CC_BY_SA,
           "Paul Shuler (Macroform), Manolo Camp, Reno Project"),
    Source("lincity-ng-data", "city", "noise", "test", r"/sounds/.*\.wav$", "GPL-2+", LINCITY),
    Source("bucklespring-data", "test-keys", "keys", "test", TEST_KEYS, "GPL-2+", "Ico Doornekamp"),
]


LIBRIVOX = "Vassil Panayotov and the readers of LibriVox (LibriSpeech)"
SEVERAL = "those whom SOURCES.md of the recordings names"


def _packed(folder, kind, licence, credit, parts="train"):
    name = folder.split("/")[1]
    return [Source(PACK, f"{PACK}-{name}-{part}", kind, part, folder, licence, credit)
            for part in parts.split()]


SOURCES += [source for sources in (
    _packed("speech/librispeech", "voice", "CC-BY-4.0", LIBRIVOX, "train valid test"),
    _packed("speech/librispeech-many", "voice", "CC-BY-4.0", LIBRIVOX),
    _packed("speech/librispeech-other", "voice", "CC-BY-4.0", LIBRIVOX),
    _packed("speech/spoken-orders", "voice", "Apache-2.0", "Picovoice Inc."),
    _packed("speech/crowd-words", "voice", "Apache-2.0", "Picovoice Inc."),
    _packed("speech/student-words", "voice", "MIT", "Zhongyu Chen and 34 students",
            "train valid test"),
    _packed("speech/kerstin", "voice", "CC0-1.0", "Kerstin"),
    _packed("speech/flemishguy", "voice", "CC0-1.0", "a Flemish speaker"),
    _packed("noise/esc10", "noise", "CC-BY-3.0", "K. J. Piczak and " + SEVERAL,
            "train valid test"),
    _packed("noise/ambient", "noise", "CC0-1.0 and CC-BY-3.0", SEVERAL),
    _packed("noise/blanket", "noise", "CC0-1.0, public domain and CC-BY", SEVERAL),
    _packed("noise/berlin", "noise", "CC-BY-4.0", "Thomas Rosen", "test"),
    _packed("noise/household", "noise", "CC-BY-4.0", "Pete Warden (Speech Commands)"),
    _packed("noise/sleep", "noise", "CC0-1.0", "Kenney, JaggedStone", "valid"),
    _packed("noise/effects", "noise", "CC0-1.0 and CC-BY", SEVERAL),
    _packed("noise/key-clicks", "keys", "MIT", "Thomas Lai"),
    _packed("music/loops", "music", "CC0-1.0", "the authors of Sonic Pi's samples"),
    _packed("music/pieces", "music", "CC-BY and public domain", SEVERAL)) for source in sources]


SOURCES += [Source(OWN, f"{OWN}-{kind}-{part}", kind, part, "", "the user's", "the user")
            for kind in ("voice", "noise") for part in ("train", "valid")]


def of(part, *kinds):
    return [source for source in SOURCES if source.part == part and source.kind in kinds]
