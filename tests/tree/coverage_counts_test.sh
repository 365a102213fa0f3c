#!/usr/bin/env bash
# coverage_counts_test.sh TREE WORK_FOLDER COMPILER: what scripts/coverage counts of a line is what the source decides
# there, with the ways that were taken, and nothing that the compiler adds.
set -euo pipefail

counts=$1/scripts/lib/coverage_counts compiler=$3
rm -rf "$2"
mkdir -p "$2/src"
cd "$2"

cat >src/both.h <<'EOF'
#include <mutex>
#include <string>
inline std::mutex mutex;
inline std::string text(int number)
{
    const std::lock_guard<std::mutex> lock(mutex); // none: a call
    return std::string(number > 0 ? "x" : "y") + "z"; // taken by either source
}
template<typename Number>
bool isSmall(Number number)
{
    if (number < Number(3)) { // taken by either instantiation
        return true;
    }
    return false;
}
EOF
cat >src/main.cpp <<'EOF'
#include "both.h"
enum class Kind { One, Other };
int other();
static int valueOf(Kind kind)
{
    switch (kind) { // both of two
    case Kind::One:
        return 1;
    case Kind::Other:
        return 2;
    }
    return 0;
}
static const std::string &constructed()
{
    static const std::string *const one = new std::string("one"); // nothing that no test takes
    return *one;
}
struct Base
{
    Base(int first, int second, const std::string &) : sum(first + second) {}
    int sum;
};
struct Derived : Base
{
    Derived(int number) : Base([=] { return number > 1 ? 1 : 2; }(), [] { return 3; }(), text(1)) {} // in a lambda
};
int main(int count, char **)
{
    if (Derived(0).sum + Derived(2).sum != 9) { // as it is
        return 1;
    }
    if (count > 1) { // one of two
        throw 1;
    }
    isSmall(1);
    const std::string key = constructed() + text(1) + text(1); // none: what only an exception cleans up
    return valueOf(Kind::One) + valueOf(Kind::Other) + other() + int(key.size()) - 12;
}
EOF
cat >src/other.cpp <<'EOF'
#include "both.h"
int other()
{
    return int(text(0).size()) + int(isSmall(7L));
}
int neverCalled()
{
    return int(text(2).size()); // not run
}
EOF
"$compiler" -std=c++17 -O0 --coverage "$PWD/src/main.cpp" "$PWD/src/other.cpp" -o both
./both
"$counts" "$PWD" "$PWD" counts.json src

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

# expect WORDS LINE_RAN WAYS TAKEN: of the line with these words
expect() {
    local seen
    seen=$(python3 - "$1" <<'EOF'
import json
import pathlib
import sys

for name, lines in json.loads(pathlib.Path("counts.json").read_text()).items():
    for number, words in enumerate(pathlib.Path(name).read_text().splitlines(), 1):
        if sys.argv[1] in words:
            line = lines[str(number)]
            print(line["count"] > 0, len(line["branches"]), len(line["branches"]) - line["branches"].count(0))
EOF
    )
    [ "$seen" = "$2 $3 $4" ] || fail "of \"$1\" it counts $seen, not $2 $3 $4"
}

expect 'none: a call' True 0 0
expect 'taken by either instantiation' True 2 2
expect 'both of two' True 2 2
expect 'one of two' True 2 1
expect 'as it is' True 2 1
expect 'what only an exception' True 0 0
expect 'in a lambda' True 2 2
expect 'not run' False 0 0
[ "$(python3 -c 'import json; print(sum(line["branches"].count(0) for file in json.load(open("counts.json")).values()
                                        for line in file.values()))')" = 2 ] || fail 'other ways are missed, too'
echo 'What the source decides is counted, and nothing else.'
