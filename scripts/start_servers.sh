#!/usr/bin/env bash
# Starts the real servers that tests, demo and benchmark download from, on 127.0.0.1 and on ports that
# are free now:
#   scripts/start_servers.sh [folder]
# Configuration, files and logs live in the folder (build/servers); nothing of the system is used but
# the programs. Servers of an earlier start in the same folder are stopped first. What was started is
# described in folder/ports: lines "name=port" for
#   http       nginx: files with ranges, below /slow/ at 200 KB/s, /private/ for user "me" with password "secret"
#   https      the same over TLS, with a certificate that nobody trusts
#   drop       tests/servers/fault_server.py with the files: /cut=60000&then=ok/ cuts the first answer
#   ftp        vsftpd: everyone may log in as "anonymous"
#   ftp_login  vsftpd: user "ftp" with password "secret"
# The files: small.bin (100000 bytes) and big.bin (3 MB), of random content, in folder/www. The web
# server writes the range of every request to folder/access.log. scripts/stop_servers.sh ends them.
# To be run as root, as installing the programs is.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=${1:-$here/../build/servers}
mkdir -p "$folder"
folder=$(cd "$folder" && pwd)
"$here/stop_servers.sh" "$folder"
rm -rf "${folder:?}"/*
mkdir -p "$folder/www/private" "$folder/tmp" "$folder/empty"

head -c 100000 /dev/urandom >"$folder/www/small.bin"
head -c 3000000 /dev/urandom >"$folder/www/big.bin"
cp "$folder/www/small.bin" "$folder/www/private/small.bin"
printf 'me:%s\n' "$(openssl passwd -apr1 secret)" >"$folder/users"
openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj "/CN=127.0.0.1" \
  -keyout "$folder/key.pem" -out "$folder/certificate.pem" 2>/dev/null

# All ports are held at once, so that they differ.
read -r http https ftp ftp_login < <(perl -MIO::Socket::INET -e '
  my @held = map { IO::Socket::INET->new(Listen => 1, LocalAddr => "127.0.0.1") } 1 .. 4;
  print join(" ", map { $_->sockport } @held), "\n"')

cat >"$folder/nginx.conf" <<CONF
user root;
worker_processes 1;
daemon off;
pid $folder/nginx.pid;
error_log $folder/error.log;
events { worker_connections 64; }
http {
  log_format short '\$server_port "\$request" \$status \$body_bytes_sent range="\$http_range"';
  access_log $folder/access.log short;
  client_body_temp_path $folder/tmp/body;
  proxy_temp_path $folder/tmp/proxy;
  fastcgi_temp_path $folder/tmp/fastcgi;
  scgi_temp_path $folder/tmp/scgi;
  uwsgi_temp_path $folder/tmp/uwsgi;
  default_type application/octet-stream;
  sendfile on;
  server {
    listen 127.0.0.1:$http;
    listen 127.0.0.1:$https ssl;
    ssl_certificate $folder/certificate.pem;
    ssl_certificate_key $folder/key.pem;
    root $folder/www;
    location /slow/ { alias $folder/www/; limit_rate 200k; }
    location /private/ { auth_basic "the vault"; auth_basic_user_file $folder/users; }
  }
}
CONF

# Started by root it serves as the user "ftp", who need not be able to reach the folder.
ftp_root=$(mktemp -d)
echo "$ftp_root" >"$folder/ftp_root"
cp "$folder"/www/*.bin "$ftp_root"
chmod -R a+rX "$ftp_root"

# One vsftpd a door: it knows users by the system's accounts, or by a list of passwords.
write_ftp_conf() { # name port
  cat <<CONF
listen=YES
listen_address=127.0.0.1
listen_port=$2
background=NO
anonymous_enable=YES
local_enable=NO
anon_root=$ftp_root
secure_chroot_dir=$folder/empty
pasv_enable=YES
seccomp_sandbox=NO
delay_failed_login=0
xferlog_enable=YES
vsftpd_log_file=$folder/$1.log
CONF
}
write_ftp_conf ftp "$ftp" >"$folder/ftp.conf"
write_ftp_conf ftp_login "$ftp_login" >"$folder/ftp_login.conf"
echo secret >"$folder/ftp_passwords"
printf 'secure_email_list_enable=YES\nemail_password_file=%s\n' "$folder/ftp_passwords" \
  >>"$folder/ftp_login.conf"

start() { # name command ...
  local name=$1
  shift
  "$@" >"$folder/$name.out" 2>&1 </dev/null &
  echo "$!" >>"$folder/pids"
}
export PATH=$PATH:/usr/sbin
start nginx nginx -p "$folder" -e "$folder/error.log" -c "$folder/nginx.conf"
start drop python3 "$here/../tests/servers/fault_server.py" run "$folder/faults" "$folder/www"
start ftp vsftpd "$folder/ftp.conf"
start ftp_login vsftpd "$folder/ftp_login.conf"

for port in "$http" "$https" "$ftp" "$ftp_login"; do
  for attempt in $(seq 100); do
    (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && continue 2
    sleep 0.05
  done
  tail -n 5 "$folder"/*.out "$folder/error.log" >&2
  echo "start_servers: nobody listens on port $port" >&2
  exit 1
done
for attempt in $(seq 100); do
  [ ! -e "$folder/faults/ports" ] || break
  sleep 0.05
done
drop=$(sed -n 's/^http=//p' "$folder/faults/ports")
# Last: who finds this file finds the servers.
printf '%s=%s\n' http "$http" https "$https" drop "$drop" ftp "$ftp" ftp_login "$ftp_login" \
  >"$folder/ports"
