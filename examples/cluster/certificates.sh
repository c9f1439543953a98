#!/usr/bin/env bash
# Makes the certificates by which the servers of a cluster know each other.
#   certificates.sh FOLDER node NAME ADDRESS...    a node, with the host names and IP addresses it is reached at
#   certificates.sh FOLDER machine NAME            a machine, known to the nodes as CN=NAME
# FOLDER/NAME.pem and FOLDER/NAME.key are made anew each time, for a year. The authority, FOLDER/ca.pem and
# FOLDER/ca.key, is made once, for ten. ca.key stays in the administrator's FOLDER; a server needs ca.pem and
# its own two files.
set -euo pipefail
umask 077

usage() {
    sed -n '2,4p' "$0" >&2
    exit 2
}

[ $# -ge 3 ] || usage
folder=$1 kind=$2 name=$3
shift 3
case $name in
ca | '' | *[!A-Za-z0-9._-]*)
    echo "certificates.sh: \"$name\" cannot be a name: letters, digits, \".\", \"-\" and \"_\", and not ca" >&2
    exit 2
    ;;
esac
case $kind in
node)
    [ $# -ge 1 ] || usage
    # Nodes call each other, so theirs serve both ways.
    usages=serverAuth,clientAuth
    ;;
machine)
    [ $# -eq 0 ] || usage
    usages=clientAuth
    ;;
*) usage ;;
esac
mkdir -p "$folder"
cd "$folder"

# quiet COMMAND...: what it says is of interest only when it fails.
quiet() {
    local said
    said=$("$@" 2>&1) || {
        printf '%s\n' "$said" >&2
        exit 1
    }
}

if [ ! -e ca.key ]; then
    quiet openssl req -x509 -new -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 3650 \
        -subj '/CN=Brevant cluster authority' -addext 'keyUsage=critical,keyCertSign,cRLSign' \
        -keyout ca.key -out ca.pem
fi

request=$(mktemp)
extensions=$(mktemp)
trap 'rm -f "$request" "$extensions"' EXIT
{
    echo 'basicConstraints=critical,CA:false'
    echo 'keyUsage=critical,digitalSignature'
    echo "extendedKeyUsage=$usages"
    echo 'authorityKeyIdentifier=keyid'
    alternatives=
    for address; do
        case $address in
        *:* | *[0-9].[0-9]*.[0-9]*.[0-9]*)
            # The server looks for those of its routes among names alone.
            alternatives+=",IP:$address,DNS:$address"
            ;;
        *) alternatives+=",DNS:$address" ;;
        esac
    done
    [ -z "$alternatives" ] || echo "subjectAltName=${alternatives#,}"
} >"$extensions"
quiet openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj "/CN=$name" \
    -keyout "$name.key" -out "$request"
quiet openssl x509 -req -in "$request" -days 365 -CA ca.pem -CAkey ca.key \
    -set_serial "0x$(openssl rand -hex 16)" -extfile "$extensions" -out "$name.pem"
chmod 644 ca.pem "$name.pem"
