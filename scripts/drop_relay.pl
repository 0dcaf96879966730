# A relay to an HTTP server that cuts connections:
#   perl drop_relay.pl port server-port bytes
# The first answer for every path ends after so many bytes; later ones pass whole. Connections are
# served one after the other.
use strict;
use warnings;
use IO::Socket::INET;

my ($port, $server_port, $limit) = @ARGV;
my $listener = IO::Socket::INET->new(Listen => 8, LocalAddr => '127.0.0.1', LocalPort => $port,
                                     ReuseAddr => 1) or die "port $port: $!\n";
$SIG{PIPE} = 'IGNORE';
my %seen;
while (my $client = $listener->accept) {
  my $head = '';
  while ($head !~ /\r\n\r\n$/ and sysread($client, my $byte, 1)) { $head .= $byte }
  my ($path) = $head =~ /^\S+ (\S+)/ or next;
  # One request a connection, so that the end of the answer is the end of the connection.
  $head =~ s/^Connection:.*\r\n//mi;
  $head =~ s/\r\n/\r\nConnection: close\r\n/;
  my $left = $seen{$path}++ ? undef : $limit;
  my $server = IO::Socket::INET->new(PeerAddr => '127.0.0.1', PeerPort => $server_port) or next;
  syswrite($server, $head);
  while (sysread($server, my $data, 65536)) {
    $data = substr($data, 0, $left) if defined $left and length $data > $left;
    my $sent = 0;
    while ($sent < length $data) {
      my $count = syswrite($client, $data, length($data) - $sent, $sent) or last;
      $sent += $count;
    }
    last if $sent < length $data;
    next unless defined $left;
    $left -= length $data;
    last if $left <= 0;
  }
}
