# Sourced by the scripts: installs what packages.txt and its like list when it is missing.

packages_listed() {
    sed -e 's/#.*//' -e 's/[[:space:]]//g' -e '/^$/d' "$@"
}

package_installed() {
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Where nobody can type a password, sudo has to do without.
sudo_works() {
    command -v sudo >/dev/null && { [ -t 0 ] || sudo -n true 2>/dev/null; }
}

# ensure_packages LIST_FILE...
ensure_packages() {
    local missing=() name as_root=() started=$SECONDS
    for name in $(packages_listed "$@"); do
        package_installed "$name" || missing+=("$name")
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    if [ "$(id -u)" -ne 0 ]; then
        if ! sudo_works; then
            echo 'error: packages are missing, and installing them needs root or sudo. An administrator can run:' >&2
            echo "    apt-get install --no-install-recommends ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]} (a minute or two)"
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -qq -y --no-install-recommends "${missing[@]}" \
        >/dev/null
    echo "... installed after $((SECONDS - started)) s"
}

qt_installed() {
    case $1 in
    5) package_installed qtbase5-dev ;;
    6) package_installed qt6-base-dev ;;
    *) return 1 ;;
    esac
}

installed_qts() {
    local qt
    for qt in 5 6; do
        ! qt_installed "$qt" || printf '%s ' "$qt"
    done
}

# What is built with unless something else is asked for: Qt 5, unless Qt 6 alone is there.
usual_qt() {
    if ! qt_installed 5 && qt_installed 6; then echo 6; else echo 5; fi
}

# ensure_build_packages QT [LIST_FILE...]: what a build with that Qt needs, and nothing of the other.
ensure_build_packages() {
    local qt=$1
    shift
    if [ "$qt" = 6 ]; then
        ensure_packages <(packages_listed "$root/packages.txt" | grep -vE '^(libqt5|qtbase5)') "$root/packages-qt6.txt" "$@"
    else
        ensure_packages "$root/packages.txt" "$@"
    fi
}
