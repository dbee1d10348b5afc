# Sourced by the demonstration and the benchmarks: a private Dovecot IMAP server for one run,
# listening on 127.0.0.1 only, with its own configuration, certificate, user and mail under one
# folder, and a way to stop it that waits until it is gone.
#
# dovecot_start FOLDER sets DOVECOT_PORT (TLS), DOVECOT_USER, DOVECOT_PASSWORD_FILE (0600),
# DOVECOT_CA (the certificate, its own authority) and DOVECOT_PID (the master).

DOVECOT_PID=

# A port on 127.0.0.1 that nothing listens on now.
free_loopback_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# Whether something answers on 127.0.0.1:PORT.
loopback_answers() {
  python3 -c 'import socket, sys; socket.create_connection(("127.0.0.1", int(sys.argv[1])), 1).close()' \
    "$1" 2>/dev/null
}

dovecot_start() {
  local folder=$1 login_user internal_user internal_group
  command -v /usr/sbin/dovecot >/dev/null ||
    { echo "dovecot is missing (scripts/install-deps.sh)" >&2; return 1; }
  command -v openssl >/dev/null || { echo "openssl is missing" >&2; return 1; }
  # Run as root, the server's own users do the work and never root; run as a user, everything
  # runs as that user.
  if ((EUID == 0)); then
    login_user=dovenull internal_user=dovecot internal_group=dovecot
  else
    login_user=$(id -un) internal_user=$(id -un) internal_group=$(id -gn)
  fi
  rm -rf "$folder"
  # The server's unprivileged processes pass through to their sockets and the mail; nothing in
  # here is listed to them.
  mkdir -m 0711 -p "$folder"
  mkdir -m 0700 -p "$folder/base" "$folder/state" "$folder/mail"
  chown "$internal_user:$internal_group" "$folder/mail"
  openssl req -x509 -newkey rsa:2048 -nodes -keyout "$folder/key.pem" -out "$folder/cert.pem" \
    -days 2 -subj /CN=localhost -addext 'subjectAltName=IP:127.0.0.1,DNS:localhost' \
    >"$folder/openssl.out" 2>&1 || { cat "$folder/openssl.out" >&2; return 1; }
  chmod 0600 "$folder/key.pem"
  DOVECOT_USER=demo
  DOVECOT_CA=$folder/cert.pem
  DOVECOT_PASSWORD_FILE=$folder/password
  (umask 077 && head -c 18 /dev/urandom | base64 | tr '+/' '-_' >"$DOVECOT_PASSWORD_FILE")
  (umask 077 && printf '%s:{PLAIN}%s\n' "$DOVECOT_USER" "$(cat "$DOVECOT_PASSWORD_FILE")" >"$folder/passwd")
  DOVECOT_PORT=$(free_loopback_port)
  (umask 077 && cat >"$folder/dovecot.conf") <<EOF
base_dir = $folder/base
state_dir = $folder/state
log_path = $folder/dovecot.log
instance_name = private-$DOVECOT_PORT
protocols = imap
listen = 127.0.0.1
ssl = required
ssl_cert = <$folder/cert.pem
ssl_key = <$folder/key.pem
default_login_user = $login_user
default_internal_user = $internal_user
default_internal_group = $internal_group
auth_mechanisms = plain
mail_location = maildir:$folder/mail/%u
first_valid_uid = 1
passdb {
  driver = passwd-file
  args = scheme=PLAIN $folder/passwd
}
userdb {
  driver = static
  args = uid=$internal_user gid=$internal_group home=$folder/mail/%u
}
service auth {
  user = $(id -un)
}
service anvil {
  chroot =
}
service imap-login {
  chroot =
  inet_listener imap {
    port = 0
  }
  inet_listener imaps {
    address = 127.0.0.1
    port = $DOVECOT_PORT
    ssl = yes
  }
}
namespace inbox {
  inbox = yes
  mailbox Junk {
    special_use = \\Junk
    auto = create
  }
}
protocol imap {
  mail_max_userip_connections = 20
}
EOF
  # The daemon keeps the stdout it inherits: it gets a file, never the caller's terminal or pipe.
  /usr/sbin/dovecot -c "$folder/dovecot.conf" >"$folder/start.out" 2>&1 </dev/null ||
    { cat "$folder/start.out" >&2; return 1; }
  local _
  for _ in $(seq 200); do
    DOVECOT_PID=$(cat "$folder/base/master.pid" 2>/dev/null || true)
    [[ -n $DOVECOT_PID ]] && loopback_answers "$DOVECOT_PORT" && return 0
    sleep 0.05
  done
  echo "dovecot did not answer on 127.0.0.1:$DOVECOT_PORT; see $folder/dovecot.log" >&2
  dovecot_stop
  return 1
}

# Stops the server: SIGTERM to the master, which waits for its clients' processes (up to half a
# minute), then SIGKILL if it is still there.
dovecot_stop() {
  local pid=$DOVECOT_PID _
  [[ -n $pid ]] || return 0
  DOVECOT_PID=
  kill -TERM "$pid" 2>/dev/null || return 0
  for _ in $(seq 600); do kill -0 "$pid" 2>/dev/null || return 0; sleep 0.05; done
  kill -KILL "$pid" 2>/dev/null || true
}
