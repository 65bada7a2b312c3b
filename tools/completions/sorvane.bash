# Completion of the program `sorvane` for bash.

_sorvane()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]} words=
    compopt +o default
    if ((COMP_CWORD == 1)); then
        words='process info bench --help --version'
    elif [[ $current == -?* ]]; then
        case $command in
        process)
            words='--remainder --gain --sensitivity --stem --stems --amount --invert --start
                --duration --output-rate --clip --sample-type --raw-input --raw-output --out-dir
                --name --force --jobs --block --report --quiet --help'
            ;;
        info) words='--json --dot --help' ;;
        bench) words='--seconds --channels --rate --json --help' ;;
        esac
    else
        case $previous in
        --clip) words='none limit scale' ;;
        --sample-type) words='pcm16 pcm24 float32' ;;
        --raw-output) words='u8 s8 s16le s16be s24le s24be s32le s32be f32le f32be f64le f64be' ;;
        --report) words=json ;;
        --stems) words=all ;;
        --gain | --sensitivity | --stem | --remainder | --amount | --start | --duration | \
            --output-rate | --raw-input | --name | --jobs | --block | --seconds | --channels | \
            --rate) ;;
        *) compopt -o default ;; # files
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _sorvane sorvane
