# Completion of the program `sorvane` for fish.

function __sorvane_models
    sorvane models 2>/dev/null | awk '/ Hz / { print $1 }'
end

# Names of the busses of the model on the command line, with what follows them.
function __sorvane_busses
    set -l words (commandline -opc)
    sorvane info $words[3] 2>/dev/null | awk -v end="$argv[1]" '/^busses/ { on = 1 }
        on && !/^(busses| )/ { exit }
        on { $0 = substr($0, 14); sub(/^[0-9]+ /, ""); sub(/ \(what is left over\)$/, ""); print $0 end }'
end

complete -c sorvane -n __fish_use_subcommand -f -a denoise -d 'Take the noise out of speech'
complete -c sorvane -n __fish_use_subcommand -f -a process -d 'Send audio files through a model'
complete -c sorvane -n __fish_use_subcommand -f -a models -d 'List the models that are found'
complete -c sorvane -n __fish_use_subcommand -f -a info -d 'Show what a model file holds'
complete -c sorvane -n __fish_use_subcommand -f -a bench -d 'Measure how fast a model runs'
complete -c sorvane -n __fish_use_subcommand -f -l version -d 'Show the version'
complete -c sorvane -s h -l help -f -d 'Show the options'

set -l denoise '__fish_seen_subcommand_from denoise'
complete -c sorvane -n $denoise -s o -l output -r -d 'Name of the output'
complete -c sorvane -n $denoise -l model -x -a '(__sorvane_models)' -d 'Another model'
complete -c sorvane -n $denoise -l keep -x -a '10% 25% -12dB -20dB' -d 'How much of the noise to keep'
complete -c sorvane -n $denoise -l rest -d 'Give what was removed instead'
complete -c sorvane -n $denoise -l out-dir -x -a '(__fish_complete_directories)' \
    -d 'Folder for the outputs'
complete -c sorvane -n $denoise -l recursive -d 'Take the folders of a folder too'
complete -c sorvane -n $denoise -l skip-existing -d 'Pass over inputs whose outputs are there'
complete -c sorvane -n $denoise -l force -d 'Replace outputs that are there already'
complete -c sorvane -n $denoise -l bitrate -x -d 'Kilobits a second of a lossy output'
complete -c sorvane -n $denoise -l track -x -d 'Audio track of a film'
complete -c sorvane -n $denoise -l keep-going -d 'Keep what could be read of a broken input'
complete -c sorvane -n $denoise -l jobs -x -d 'Files that are processed at a time'
complete -c sorvane -n $denoise -l report -x -a json -d 'Print what was done'
complete -c sorvane -n $denoise -l quiet -d 'No progress and no warnings'

set -l process '__fish_seen_subcommand_from process'
complete -c sorvane -n $process -l remainder -x -d 'Level of what the mask leaves over in dB'
complete -c sorvane -n $process -l gain -x -a '(__sorvane_busses =)' -d 'BUS=FACTOR: linear gain of a bus'
complete -c sorvane -n $process -l sensitivity -x -a '(__sorvane_busses =)' -d 'BUS=PERCENT: how far its mask is bent'
complete -c sorvane -n $process -l stem -x -a '(__sorvane_busses)' -d 'Give this bus alone'
complete -c sorvane -n $process -l stems -x -a 'all (__sorvane_busses)' -d 'Give each of these busses in a file'
complete -c sorvane -n $process -l amount -x -d 'How much of the result is in the output'
complete -c sorvane -n $process -l invert -d 'Give what is removed'
complete -c sorvane -n $process -l start -x -d 'Where in the input to begin'
complete -c sorvane -n $process -l duration -x -d 'How much of the input to take'
complete -c sorvane -n $process -l output-rate -x -d 'Sample rate of the output in hertz'
complete -c sorvane -n $process -l clip -x -a 'none limit scale' -d 'Samples beyond full scale'
complete -c sorvane -n $process -l sample-type -x -a 'pcm16 pcm24 float32' -d 'Samples of the output'
complete -c sorvane -n $process -l raw-input -x -d 'FORMAT:RATE:CHANNELS of packed samples'
complete -c sorvane -n $process -l raw-output -x -d 'Write packed samples' \
    -a 'u8 s8 s16le s16be s24le s24be s32le s32be f32le f32be f64le f64be'
complete -c sorvane -n $process -l name -x -d 'Names of the outputs'
complete -c sorvane -n $process -l block -x -d 'Samples that are processed at a time'
complete -c sorvane -n $process -l out-dir -x -a '(__fish_complete_directories)' \
    -d 'Folder for the outputs'
complete -c sorvane -n $process -l recursive -d 'Take the folders of a folder too'
complete -c sorvane -n $process -l skip-existing -d 'Pass over inputs whose outputs are there'
complete -c sorvane -n $process -l force -d 'Replace outputs that are there already'
complete -c sorvane -n $process -l bitrate -x -d 'Kilobits a second of a lossy output'
complete -c sorvane -n $process -l track -x -d 'Audio track of a film'
complete -c sorvane -n $process -l keep-going -d 'Keep what could be read of a broken input'
complete -c sorvane -n $process -l jobs -x -d 'Files that are processed at a time'
complete -c sorvane -n $process -l report -x -a json -d 'Print what was done'
complete -c sorvane -n $process -l quiet -d 'No progress and no warnings'
complete -c sorvane -n "$process; and test (count (commandline -opc)) -eq 2" \
    -a '(__sorvane_models)' -d 'Model'

set -l models '__fish_seen_subcommand_from models'
complete -c sorvane -n $models -l json -d 'Print it as JSON'

set -l info '__fish_seen_subcommand_from info'
complete -c sorvane -n $info -l json -d 'Print it as JSON'
complete -c sorvane -n $info -l dot -d 'Print the network as a graph for Graphviz'
complete -c sorvane -n "$info; and test (count (commandline -opc)) -eq 2" \
    -a '(__sorvane_models)' -d 'Model'

set -l bench '__fish_seen_subcommand_from bench'
complete -c sorvane -n $bench -l seconds -x -d 'How much audio is processed'
complete -c sorvane -n $bench -l channels -x -d 'Channels of the audio'
complete -c sorvane -n $bench -l rate -x -d 'Sample rate of the audio in hertz'
complete -c sorvane -n $bench -l json -d 'Print the figures as JSON'
complete -c sorvane -n "$bench; and test (count (commandline -opc)) -eq 2" \
    -a '(__sorvane_models)' -d 'Model'
