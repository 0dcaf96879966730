#!/usr/bin/env perl
# Holds the documents against the tree; called by check_docs.sh, which says what is checked:
#   check_docs.pl <folder for the blocks to run>
# Complaints go to standard error; the counts are printed.
use strict;
use warnings;
use File::Basename qw(dirname);
use File::Find;

my ($run_folder) = @ARGV;
my ($links, $paths, $commands, $runs, $bad) = (0) x 5;
my (%text, %prose, %anchors, @docs, @sources);

sub slurp { open my $in, '<', $_[0] or die "$_[0]: $!"; local $/; my $all = <$in>; $all =~ s/\r//g; $all }
sub complain { print STDERR "check_docs: $_[0]\n"; $bad = 1 }
# What stands in backquotes on one line.
sub codes { $_[0] =~ /`([^`\n]+)`/g }
sub unique { my %seen; grep { !$seen{$_}++ } @_ }

# same <what> <where> <\@wanted> <where> <\@found>
sub same {
  my ($what, $source, $wanted, $place, $found) = @_;
  my %wanted = map { $_ => 1 } @$wanted;
  my %found = map { $_ => 1 } @$found;
  complain("$what $_ of $source is not in $place") for grep { !$found{$_} } sort keys %wanted;
  complain("$what $_ in $place is not in $source") for grep { !$wanted{$_} } sort keys %found;
}

find({ no_chdir => 1, preprocess => sub { grep { !/^(build|\.git)$/ } @_ }, wanted => sub {
  return unless -f;
  my $file = s{^\./}{}r;
  push @docs, $file if $file =~ /\.md$/;
  push @sources, $file if $file =~ m{^(src|package|tools)/} && -T $file && $file !~ /\.md$/;
} }, '.');

# The anchors that a reader's page gives its headings.
sub anchors_of {
  my %seen;
  return map {
    my $slug = lc($_) =~ s/[^\w\- ]//gr =~ tr/ /-/r;
    $slug . ($seen{$slug}++ ? '-' . ($seen{$slug} - 1) : '');
  } $_[0] =~ /^#+ +(.*?) *$/mg;
}

my %fences;
for my $doc (@docs) {
  $text{$doc} = slurp($doc);
  $prose{$doc} = $text{$doc} =~ s{^[ ]*```(.*?)\n(.*?)^[ ]*```[ ]*$}{push @{ $fences{$doc} }, [$1, $2]; ''}gemsr;
  $anchors{$doc} = { map { $_ => 1 } anchors_of($prose{$doc}) };
}

# A command of the documents: a script of the tree or a program, called with options that it knows.
sub check_command {
  my ($doc, $command) = @_;
  $command =~ s{"\$prereq/([^"]*)"}{$1}g;
  my ($program, @words) = split ' ', $command;
  my $script = $program =~ s{^\./}{}r;
  if ($program =~ m{/}) {
    -x $script && -f $script or return complain("$doc: no such command: $program");
    my $source = slurp($script);
    for my $option (grep { /^--/ } @words) {
      complain("$doc: $program does not know $option") unless $source =~ /(?<![\w-])\Q$option\E(?![\w-])/;
    }
    -e or complain("$doc: no such path: $_") for grep { m{^build/ship/bin/} } @words;
  } else {
    complain("$doc: no such program: $program") unless grep { -x "$_/$program" } split /:/, $ENV{PATH};
    my $presets = slurp('CMakePresets.json');
    while ($command =~ /--preset (\w+)/g) {
      complain("$doc: no preset $1") unless $presets =~ /"name": "$1"/;
    }
  }
}

for my $doc (sort @docs) {
  my $prose = $prose{$doc};

  while ($prose =~ /\]\(([^()\s]+)\)/g) {
    my ($target, $anchor) = split /#/, $1, 2;
    next if $target =~ /^[a-z]+:/;
    ++$links;
    my $path = $target eq '' ? $doc : dirname($doc) . "/$target";
    1 while $path =~ s{(^|/)\./}{$1} || $path =~ s{[^/]+/\.\./}{};
    -e $path or complain("$doc: dead link: $target"), next;
    complain("$doc: $path has no heading for #$anchor") if defined $anchor && !$anchors{$path}{$anchor};
  }

  # A word of code is a path when it is made of names and has a slash inside or the ending of a source.
  for my $code (codes($prose)) {
    my ($word, $rest) = split ' ', $code, 2;
    next unless $word =~ m{^[\w.][\w./-]*$} && ($word =~ m{/} || $word =~ /\.(sh|pl|md|idt|cpp|h)$/);
    ++$paths;
    next if $word =~ m{^build/};
    my $found = (grep { -e } $word, dirname($doc) . "/$word")[0];
    if (!$found) {
      complain("$doc: no such path: $word");
    } elsif (defined $rest && $rest =~ /^--/) {
      ++$commands;
      check_command($doc, $code);
    }
  }

  for my $fence (@{ $fences{$doc} // [] }) {
    my ($info, $block) = @$fence;
    next unless $info =~ /^sh\b/;
    if ($info eq 'sh run') {
      ++$runs;
      open my $out, '>>', "$run_folder/" . ($doc =~ tr{/}{_}r) . '.sh' or die $!;
      print $out $block;
      next;
    }
    for my $command (split /\n|&&/, $block =~ s/\s#.*$//gmr) {
      next if $command =~ /^\s*(\w+=\S*)?\s*$/;
      ++$commands;
      check_command($doc, $command);
    }
  }
}

# The tables of facts. section: what stands below a heading, up to the next; rows: its table's cells.
sub section { my ($doc, $heading) = @_; $text{$doc} =~ /^#+ \Q$heading\E\n(.*?)(?=^#|\z)/ms ? $1 : '' }
sub rows { map { [map { s/^ +| +$//gr } split /(?<!\\)\|/, $_] } grep { !/^\|-/ } $_[0] =~ /^\|(.*)\|$/mg }

sub idt { map { [split /\t/] } split /\n/, slurp("package/tables/$_[0].idt") }

my $guide = 'docs/authors-guide.md';
my @exports = slurp('src/entry/prereq.def') =~ /^  (\w+)/mg;
my @actions = (idt('CustomAction'))[3 .. (() = idt('CustomAction')) - 1];
same('export', 'the module definition', \@exports, 'the README',
  [map { codes($_->[0]) } rows(section('README.md', 'Exports'))]);
same('export of an action', 'the kit',
  [map { "$_->[3] $_->[0]" } grep { $_->[2] eq 'Prereq.dll' } @actions], 'the README', [map {
  my ($export) = codes($_->[0]);
  map { "$export $_" } codes($_->[2]);
} grep { $_->[0] =~ /`/ } rows(section('README.md', 'Exports'))]);
same('action', 'the kit', [map { "$_->[0] $_->[3]" } @actions], $guide,
  [map { join ' ', codes("$_->[0] $_->[1]") } grep { $_->[0] =~ /`/ } rows(section($guide, 'The actions'))]);

for my $table ('QX_PreRequisite', 'QX_AppSearchEx') {
  my ($names, $types) = idt($table);
  my @documented;
  for my $row (rows(section($guide, $table))) {
    my ($type) = codes($row->[1]);
    push @documented, map { "$_ $type" } codes($row->[0]);
  }
  same('column', "$table.idt", [map { "$names->[$_] $types->[$_]" } 0 .. $#$names], $guide, \@documented);
}

my @errors = (idt('Error'))[3 .. (() = idt('Error')) - 1];
same('message', 'Error.idt', [map { "$_->[0] \"$_->[1]\"" } @errors], $guide,
  [map { "$_->[0] $_->[1]" } grep { $_->[0] =~ /^\d+$/ } rows(section($guide, 'Messages'))]);

my %kind_numbers = slurp('src/appsearch/criterion.h') =~ /^  (k\w+) = (\d+),/mg;
my @kinds = slurp('src/appsearch/search_engine.cpp') =~ /case SearchKind::(\w+):/g;
same('kind', 'the search engine', [map { $kind_numbers{$_} // $_ } @kinds], $guide,
  [map { $_->[0] =~ /^\[(\d+)\]/ } rows(section($guide, 'Kinds of search'))]);

# Names of ours, and the properties that the library reads.
my $code = join "\n", map { slurp($_) } @sources;
my $library = join "\n", map { slurp($_) } grep { m{^src/} } @sources;
for my $doc (@docs) {
  for my $name (unique($text{$doc} =~ /\b(QX[A-Z_]\w*)/g)) {
    complain("$doc: neither src, package nor tools know $name") unless $code =~ /\b$name\b/;
  }
}
for my $name (unique($library =~ /"(QX[A-Z_]\w*)/g, $library =~ /Property\(L"(\w+)"/g)) {
  complain("$guide does not name $name") unless $text{$guide} =~ /\b$name\b/;
}

printf "%d links, %d paths, %d commands\n", $links, $paths, $commands + $runs;
exit $bad;
