# Holds every #include to the law of scripts/lib/rooms.txt. Input: the law, then all sources.
#   awk -v law=rooms.txt -f rooms.awk rooms.txt SOURCE...

function folder(path) { return sub(/\/[^\/]*$/, "", path) ? path : "." }
function tree(path) { sub(/\/.*/, "", path); return path }

function without_dots(path) {
    while (sub(/[^\/]+\/\.\.\//, "", path)) { }
    return path
}

# allow(ROOM, WORD): what a word of a room's line stands for.
function allow(room, word, private, several, count, i) {
    private = sub(/\+$/, "", word)
    if (word in stands_for) {
        count = split(stands_for[word], several, " ")
        for (i = 1; i <= count; i++) if (several[i] != "") allowed[room, several[i]] = 1
    } else if (word in is_room) {
        allowed[room, word] = private ? 2 : 1
    } else if (word != "-") {
        unknown(word)
    }
}
function unknown(word) { print law ":" FNR ": " word " is no room of an earlier line, nor a name for any" }

# The source that an include means: beside the includer, or the nearest whose path ends so.
function meant(included, from, several, count, i, length_now, best, nearest) {
    best = without_dots(folder(from) "/" included)
    if (best in is_source) return best
    best = ""
    count = split(ending_in[included], several, " ")
    nearest = -1
    for (i = 1; i <= count; i++) {
        for (length_now = 0; substr(several[i], 1, length_now + 1) == substr(from, 1, length_now + 1); length_now++) { }
        if (length_now > nearest) { nearest = length_now; best = several[i] }
    }
    return best
}

BEGIN {
    for (i = 1; i < ARGC; i++) if (ARGV[i] ~ /\.(h|cpp)$/) {
        is_source[ARGV[i]] = 1
        is_folder[folder(ARGV[i])] = 1
        for (rest = ARGV[i]; ; ) {
            ending_in[rest] = ending_in[rest] " " ARGV[i]
            if (!sub(/^[^\/]*\//, "", rest)) break
        }
    }
}

FILENAME == law && /^[^#]/ {
    if ($2 == "=") {
        for (i = 3; i <= NF; i++) {
            if (!($i in is_room) && !($i in stands_for)) unknown($i)
            stands_for[$1] = stands_for[$1] " " ($i in stands_for ? stands_for[$i] : $i)
        }
        next
    }
    if (!($1 in is_folder)) print law ":" FNR ": there are no sources in " $1
    for (i = 2; i <= NF; i++) allow($1, $i)
    is_room[$1] = 1
}

FILENAME != law && FNR == 1 {
    room = folder(FILENAME)
    if (!(room in is_room) && !(room in told)) print FILENAME ": the room " room " has no line in " law
    told[room] = 1
}
FILENAME != law && /^ *# *include/ && room in is_room {
    included = $0
    sub(/^ *# *include *[<"]/, "", included)
    sub(/[>"].*/, "", included)
    source = meant(included, FILENAME)
    if (source == "" || folder(source) == room) next
    private = source ~ /_p\.h$/ && tree(source) != tree(FILENAME)
    if (allowed[room, folder(source)] < 1 + private)
        print FILENAME ":" FNR ": includes " source (private ? ", which is private to its tree" : ", which " law " does not allow it")
}
