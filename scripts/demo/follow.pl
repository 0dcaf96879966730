#!/usr/bin/env perl
# Tells an installation of the sample package step by step while it runs:
#   follow.pl <start time> <rows.idt> <download folder> <installer log> <log of the sample setups> <stop file>
# It reads both logs as they grow, watches downloads arrive, and prints a line a step, with the seconds
# since the start time; while a file arrives or is unpacked, a bar: in place on a terminal, else a line
# now and then. It ends when the stop file exists and both logs are read to their ends.
use strict;
use warnings;
use File::Basename;
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

sub files_in {
  my ($folder) = @_;
  opendir my $dir, $folder or return ();
  return map { "$folder/$_" } grep { !/^\.\.?$/ } readdir $dir;
}

# What lay in the download folder when this began is not downloaded again.
my %downloaded_before = map { basename($_) => 1 } files_in($download_folder);

my $removing = $logs[0] =~ /remove\.log$/;
my $action = '';
my %property;    # As the log lists them at its end.
my %named;

my $terminal = -t STDOUT;
my $bar_shown = 0;

sub say_step {
  print "\r\e[K" if $bar_shown;
  $bar_shown = 0;
  printf "  [%6.2f s] %s\n", time - $start, $_[0];
}

sub say_bar {
  my ($text, $part, $whole) = @_;
  my $full = $whole ? int(30 * $part / $whole) : 0;
  my $bar = sprintf '   %-28s [%s%s] %3d %% of %d bytes', $text, '#' x $full, '.' x (30 - $full),
    $whole ? 100 * $part / $whole : 0, $whole;
  if ($terminal) {
    printf "\r\e[K  [%6.2f s] %s", time - $start, $bar;
    $bar_shown = 1;
  } else {
    say_step($bar);
  }
}

# Why a row was not handled by the install pass that just ended.
sub reason {
  my ($row, $post) = @_;
  return $post ? 'its turn was before the product' : 'its turn comes after the product'
    if ($row->{Options} =~ /p/ ? 1 : 0) != $post;
  return "its condition is false: $row->{MissingCondition}";
}

sub end_of_action {
  my ($code) = @_;
  read_log(1);    # What the setups logged came before the end.
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
  $line =~ s/^Downloaded: //;
  if ($line =~ /^Action start [\d:]+: InstallInitialize\./) {
    say_step($removing ? '-- remove the product' : '-- install the product');
  } elsif ($line =~ /^Action start [\d:]+: (\w+)\./) {
    return if $1 eq $action || !$title{$1};
    $action = $1;
    %named = ();
    say_step("-- $title{$1}");
  } elsif ($line =~ /^Action ended [\d:]+: (\w+)\. Return value (\d+)/) {
    end_of_action($2) if $1 eq $action;
  } elsif ($line =~ /^(?:Warning|Error) (\d+)\.(.*)/) {
    say_step("prompt $1: $2");
  } elsif ($line =~ /^Property\(.\): (\w+) = (.*)/) {
    $property{$1} = $2;
  } elsif ($line =~ /^Failed to launch/) {
    say_step($line);
  } elsif ($action =~ /^QX_(Install|Download|Extract)/ && grep { $_->{DisplayName} eq $line } @rows) {
    read_log(1) if $named{$line};
    my $what = $named{$line} ? 'finished' : 'selected';
    if ($action eq 'QX_DownloadPrereq') {
      my ($row) = grep { $_->{DisplayName} eq $line } @rows;
      $what = $downloaded_before{ basename($row->{SetupFileUrl}) } ? 'downloaded before' : 'downloaded';
    }
    $named{$line}++;
    say_step("$what: $line");
  } elsif ($action =~ /Search/ && $line =~ /^Property: (.*)/) {
    say_step("looking for $1");
  } elsif ($removing) {
    say_step("   file removed: $1") if $line =~ /^File: (.*?), Directory: \S+$/ && !$named{$1}++;
  } elsif ($line =~ /^File: (.*?),\s+Directory: \S+\s+Size: (\d+)/) {
    say_step("   file installed: $1, $2 bytes");
  } elsif ($line =~ /^1: (\{[0-9A-F-]+\})\s*$/) {
    say_step("   registered: $1") unless $named{$1}++;
  }
}

sub setup_line {
  my ($line) = @_;
  say_step("   setup $line");
  my ($name) = $line =~ /^(\w+):/ or return;
  # Wine keeps no action data in the log when there are dialogs: then only this tells of the row.
  $named{ $_->{DisplayName} } ||= 1 for grep { $_->{Prereq} eq $name } @rows;
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

# Shows how far the running download or unpacking is, a few times a second.
my %told;
my $told_time = 0;

# The size that the package expects of a setup file, by its name on disk.
my %expected = map { ($_->{TargetName} || $_->{SetupFileUrl} =~ s{.*/}{}r) => $_->{ExactSize} || 0 } @rows;

my %arrived = %downloaded_before;

sub watch_files {
  my $now = time;
  for (grep { !/\.part$/ && -f } files_in($download_folder)) {
    say_step("   arrived: " . basename($_) . ', ' . (-s) . ' bytes') unless $arrived{ basename($_) }++;
  }
  return if $now - $told_time < ($terminal ? 0.1 : 0.4);
  # Not by glob: the folder is named by a product code, and braces mean something else there.
  my @growing = map { [downloading => $_] } grep { /\.part$/ } files_in($download_folder);
  if ($action eq 'QX_ExtractPrereq') {
    my $temp = $download_folder =~ s{/[^/]*$}{}r;
    push @growing, map { [unpacking => $_] } map { files_in("$_/Prerequisites") } files_in($temp);
  }
  for (@growing) {
    my ($what, $file) = @$_;
    my $size = -s $file or next;
    # What is whole at first sight is from earlier.
    my $before = $told{$file} // $expected{basename($file)} // 0;
    next if $before == $size;
    ($told{$file}, $told_time) = ($size, $now);
    my $name = basename($file, '.part');
    say_bar("$what $name", $size, $expected{$name} || $size);
  }
}

until ($stopping) {
  $stopping = -e $stop_file;
  read_log(0);
  read_log(1) if $action =~ /^QX_Install/;
  watch_files();
  sleep 0.02;
}
read_log(1);
my @found = map { "$_ = $property{$_}" } grep { /^SAMPLE_/ } sort keys %property;
say_step('in the end the properties are ' . join ', ', @found) if @found;
