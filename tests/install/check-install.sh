#!/bin/sh
# Installs the build into a temporary prefix (and once more staged under
# DESTDIR) and checks the desktop integration: every file in its place, the
# desktop entry, AppStream metadata and MIME package valid, the manual pages
# written from the help texts, the shell completion working, and no file
# naming the prefix it was installed to.
#   check-install.sh BUILD_DIR CMAKE WITH_APP(ON|OFF)
set -eu
build=$1
cmake=$2
with_app=$3
id=com.kestrelworks.Kea

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

fail() {
    echo "check-install: $*" >&2
    exit 1
}

"$cmake" --install "$build" --prefix "$prefix" >"$work/install.log" || fail "cmake --install failed: $(cat "$work/install.log")"

files="bin/kea-cli
share/applications/$id.desktop
share/mime/packages/$id.xml
share/icons/hicolor/scalable/apps/$id.svg
share/metainfo/$id.metainfo.xml
share/man/man1/kea-cli.1
share/bash-completion/completions/kea-cli"
if [ "$with_app" = ON ]; then
    files="$files
bin/kea
share/man/man1/kea.1"
fi
for file in $files; do
    [ -s "$prefix/$file" ] || fail "$file was not installed"
done

desktop=$prefix/share/applications/$id.desktop
desktop-file-validate "$desktop" || fail "desktop-file-validate refused $desktop"
grep -qx 'MimeType=application/x-kea-document;x-scheme-handler/kea;' "$desktop" || fail "MimeType line missing"
grep -qx 'Exec=kea %U' "$desktop" || fail "Exec line missing"
appstreamcli validate --no-net "$prefix/share/metainfo/$id.metainfo.xml" >"$work/appstream.log" 2>&1 ||
    fail "appstreamcli refused the metainfo: $(cat "$work/appstream.log")"
xmllint --noout "$prefix/share/icons/hicolor/scalable/apps/$id.svg" || fail "the icon is not well-formed"

# The MIME package maps both the file name and the root element.
update-mime-database "$prefix/share/mime" || fail "update-mime-database refused the package"
grep -q '^50:application/x-kea-document:\*\.kea$' "$prefix/share/mime/globs2" || fail "*.kea is not mapped"
grep -q 'kea-document application/x-kea-document' "$prefix/share/mime/XMLnamespaces" ||
    fail "the document's root element is not mapped"

# Manual pages come from the programs' help texts.
grep -q 'complete' "$prefix/share/man/man1/kea-cli.1" || fail "kea-cli.1 lacks the command list"
if [ "$with_app" = ON ]; then
    grep -q 'new\\&\?\.document' "$prefix/share/man/man1/kea.1" || grep -q 'new.document' "$prefix/share/man/man1/kea.1" ||
        fail "kea.1 lacks the URL scheme"
    env -u DISPLAY -u WAYLAND_DISPLAY "$prefix/bin/kea" --version | grep -q '^kea [0-9]' ||
        fail "kea --version did not print the version without a display"
fi

# Shell completion offers the commands kea-cli has.
completions=$(PATH="$prefix/bin:$PATH" bash -c '
    . "$1"
    COMP_WORDS=(kea-cli comp); COMP_CWORD=1; _kea_cli; printf "%s\n" "${COMPREPLY[@]}"
    COMP_WORDS=(kea-cli complete HXCompletionCategoryHTTPRequestHeadersV); COMP_CWORD=2; _kea_cli
    printf "%s\n" "${COMPREPLY[@]}"' sh "$prefix/share/bash-completion/completions/kea-cli")
echo "$completions" | grep -qx complete || fail "bash completion does not offer 'complete': $completions"
echo "$completions" | grep -qx HXCompletionCategoryHTTPRequestHeadersValue || fail "bash completion lacks categories"

# Relocatable: nothing installed names the prefix.
if grep -rlF "$prefix" "$prefix" >"$work/named.log"; then
    fail "files name the install prefix: $(cat "$work/named.log")"
fi

# Staged installs land under DESTDIR.
DESTDIR=$work/stage "$cmake" --install "$build" --prefix /opt/kea >/dev/null || fail "staged install failed"
[ -x "$work/stage/opt/kea/bin/kea-cli" ] || fail "DESTDIR was not honoured"
[ -s "$work/stage/opt/kea/share/applications/$id.desktop" ] || fail "DESTDIR was not honoured for data"
echo "check-install: ok"
