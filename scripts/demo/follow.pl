#!/usr/bin/env perl
# Tells an installation of the sample package step by step while it runs:
#   follow.pl <start time> <rows.idt> <download folder> <installer log> <log of the sample setups> <stop file>
# It reads both logs as they grow, watches downloads arrive, and prints a line a step, with the seconds
# since the start time. It ends when the stop file exists and both logs are read to their ends.
use strict;
use warnings;
use Time::HiRes qw(time sleep);
$| = 1;

my ($start, $rows_file, $download_folder, @logs) = @ARGV;
my $stop_file = pop @logs;

# The rows of the prerequisite table, in their order.
my @rows;
{
  open my $in, '<', $rows_file or die "$rows_file: $!";
  my @lines = map { s/[\r\n]+$//r } <$in>;
  my @columns = split /\t/, $lines[0];
  for my $line (@lines[3 .. $#lines]) {
    my %row;
    @row{@columns} = split /\t/, $line, -1;
    push @rows, \%row;
  }
  @rows = sort { $a->{Sequence} <=> $b->{Sequence} } @rows;
}

my %title = (
  QX_AppSearchEx => 'search for what is there',
  QX_SearchAgain => 'search again',
  QX_DownloadPrereq => 'download setup files',
  QX_ExtractPrereq => 'unpack setup files',
  QX_InstallPrerequisite => 'install prerequisites, before the product',
  QX_InstallPostPrerequisite => 'install prerequisites, after the product',
  QX_VerifyPrereq => 'verify prerequisites',
  QX_CleanPrereq => 'clean up',
);

my $removing = $logs[0] =~ /remove\.log$/;
my $action = '';
my %named;

sub say_step { printf "  [%6.2f s] %s\n", time - $start, $_[0] }

# Why a row was not handled by the install pass that just ended.
sub reason {
  my ($row, $post) = @_;
  return $post ? 'its turn was before the product' : 'its turn comes after the product'
    if ($row->{Options} =~ /p/ ? 1 : 0) != $post;
  return "its condition is false: $row->{MissingCondition}";
}

sub end_of_action {
  my ($code) = @_;
  if ($action =~ /^QX_Install/) {
    my $post = $action =~ /Post/ ? 1 : 0;
    for my $row (@rows) {
      next if $named{ $row->{DisplayName} };
      say_step("passed over: $row->{DisplayName} (" . reason($row, $post) . ")");
    }
  }
  my $verdict = $code == 1 ? 'ok' : $code == 0 ? 'stopped' : "result $code";
  $verdict = 'nothing is missing' if $action eq 'QX_VerifyPrereq' && $code == 1;
  say_step("   $verdict");
  $action = '';
}

sub installer_line {
  my ($line) = @_;
  if ($line =~ /^Action start [\d:]+: (\w+)\./) {
    return if $1 eq $action || !$title{$1};
    $action = $1;
    %named = ();
    say_step("-- $title{$1}");
  } elsif ($line =~ /^Action ended [\d:]+: (\w+)\. Return value (\d+)/) {
    end_of_action($2) if $1 eq $action;
  } elsif ($line =~ /^(?:Warning|Error) (\d+)\.(.*)/) {
    say_step("prompt $1: $2");
  } elsif ($line =~ /^Failed to launch/) {
    say_step($line);
  } elsif ($action =~ /^QX_(Install|Download|Extract)/ && grep { $_->{DisplayName} eq $line } @rows) {
    read_log(1) if $named{$line};    # What the setup logged comes before its end.
    my $what = $action eq 'QX_DownloadPrereq' ? 'downloaded' : $named{$line} ? 'finished' : 'selected';
    $named{$line}++;
    say_step("$what: $line");
  } elsif ($action =~ /Search/ && $line =~ /^Property: (.*)/) {
    say_step("looking for $1");
  } elsif ($removing) {
    say_step("-- product file removed: $1") if $line =~ /^File: (.*?), Directory: \S+$/;
  } elsif ($line =~ /^File: (.*?),\s+Directory: \S+\s+Size: (\d+)/) {
    say_step("-- product file installed: $1, $2 bytes");
  } elsif ($line =~ /^1: (\{[0-9A-F-]+\})\s*$/) {
    say_step("-- product registered: $1") unless $named{$1}++;
  }
}

sub setup_line {
  my ($line) = @_;
  say_step("   setup $line");
}

my @handlers = (\&installer_line, \&setup_line);
# The setups' log goes on where it was.
my @offsets = (0, -s $logs[1] || 0);
my $stopping = 0;

# Hands each new whole line of one log to its handler.
sub read_log {
  my ($i) = @_;
  open my $in, '<', $logs[$i] or return;
  seek $in, $offsets[$i], 0;
  while (my $line = <$in>) {
    last if $line !~ /\n$/ && !$stopping;
    $offsets[$i] += length $line;
    $line =~ s/[\r\n]+$//;
    $handlers[$i]->($line);
  }
}

# Tells how far the running download or unpacking is, a few times a second.
my %told;
my $told_time = 0;
sub files_in {
  my ($folder) = @_;
  opendir my $dir, $folder or return ();
  return map { "$folder/$_" } grep { !/^\.\.?$/ } readdir $dir;
}

sub watch_files {
  my $now = time;
  return if $now - $told_time < 0.1;
  # Not by glob: the folder is named by a product code, and braces mean something else there.
  my @growing = map { [downloading => $_] } grep { /\.part$/ } files_in($download_folder);
  if ($action eq 'QX_ExtractPrereq') {
    my $temp = $download_folder =~ s{/[^/]*$}{}r;
    push @growing, map { [unpacking => $_] } map { files_in("$_/Prerequisites") } files_in($temp);
  }
  for (@growing) {
    my ($what, $file) = @$_;
    my $size = -s $file or next;
    next if ($told{$file} // -1) == $size;
    ($told{$file}, $told_time) = ($size, $now);
    my $name = $file =~ s{.*/}{}r =~ s/\.part$//r;
    say_step("   $what $name: $size bytes");
  }
}

until ($stopping) {
  $stopping = -e $stop_file;
  read_log(0);
  watch_files();
  read_log(1) unless -e $logs[0];    # An installation that was started by the system keeps no log.
  sleep 0.02;
}
read_log(1);
