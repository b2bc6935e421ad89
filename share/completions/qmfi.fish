# Completion of qmfi's words for fish; lies in /usr/share/fish/vendor_completions.d.

function __qmfi_candidates
    set -l words (commandline --current-process --tokenize --cut-at-cursor)
    set -l word (commandline --current-token --cut-at-cursor)
    set -l candidates (qmfi complete $words[2..-1] $word 2>/dev/null)
    if test (count $candidates) -gt 0
        printf '%s\n' $candidates
    else
        __fish_complete_path $word
    end
end
complete --command qmfi --no-files --arguments '(__qmfi_candidates)'
