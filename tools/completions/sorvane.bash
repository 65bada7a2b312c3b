# Completion of the program `sorvane` for bash.

# Names of the models that are found.
_sorvane_models()
{
    sorvane models 2>/dev/null | awk '/ Hz / { print $1 }'
}

# Names of a model's busses.
_sorvane_busses()
{
    sorvane info "$1" 2>/dev/null | awk '/^busses/ { on = 1 } on && !/^(busses| )/ { exit }
        on { $0 = substr($0, 14); sub(/^[0-9]+ /, ""); sub(/ \(what is left over\)$/, ""); print }'
}

_sorvane()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]} words= files='--out-dir --recursive --skip-existing --force
        --bitrate --track --keep-going --jobs --report --quiet --help'
    compopt +o default
    if ((COMP_CWORD == 1)); then
        words='denoise process models info bench --help --version'
    elif [[ $current == -?* ]]; then
        case $command in
        denoise) words="--output --model --keep --rest $files" ;;
        process)
            words="--remainder --gain --sensitivity --stem --stems --amount --invert --start
                --duration --output-rate --clip --sample-type --raw-input --raw-output --name
                --block $files"
            ;;
        models) words='--json --help' ;;
        info) words='--json --dot --help' ;;
        bench) words='--seconds --channels --rate --json --help' ;;
        esac
    else
        case $previous in
        --clip) words='none limit scale' ;;
        --sample-type) words='pcm16 pcm24 float32' ;;
        --raw-output) words='u8 s8 s16le s16be s24le s24be s32le s32be f32le f32be f64le f64be' ;;
        --report) words=json ;;
        --keep) words='10% 25% -12dB -20dB' ;;
        --model) words=$(_sorvane_models) && compopt -o default ;;
        --stem) words=$(_sorvane_busses "${COMP_WORDS[2]}") ;;
        --stems) words="all $(_sorvane_busses "${COMP_WORDS[2]}")" ;;
        --gain | --sensitivity)
            words=$(_sorvane_busses "${COMP_WORDS[2]}" | sed 's/$/=/') && compopt -o nospace
            ;;
        --remainder | --amount | --start | --duration | --output-rate | --raw-input | --name | \
            --jobs | --block | --seconds | --channels | --rate | --bitrate | --track) ;;
        process | info | bench) words=$(_sorvane_models) && compopt -o default ;;
        *) compopt -o default ;; # files
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _sorvane sorvane
