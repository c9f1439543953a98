#!/usr/bin/env bash
# Makes a password for each role on one machine: passwords.sh FOLDER [ADDRESS]
# FOLDER/passwords.conf is for the machine's server, FOLDER/<role>.env for who plays the role: a file of
# environment variables that names the bus with the role's password. ADDRESS is where the server listens,
# 127.0.0.1:4222 without it.
set -euo pipefail
umask 077

[ $# -ge 1 ] || {
    sed -n '2p' "$0" >&2
    exit 2
}
folder=$1 address=${2-127.0.0.1:4222}
mkdir -p "$folder"
# In one step each, for a server may be reading.
for role in host product viewer watcher; do
    password=$(openssl rand -hex 24)
    printf '%s_PASSWORD: "%s"\n' "${role^^}" "$password"
    printf 'BREVANT_BUS=nats://%s:%s@%s\n' "$role" "$password" "$address" >"$folder/$role.env.new"
done >"$folder/passwords.conf.new"
for file in passwords.conf host.env product.env viewer.env watcher.env; do
    mv "$folder/$file.new" "$folder/$file"
done
