#!/usr/bin/perl
# troubleshooting.pl TEXTS MEANINGS: writes docs/troubleshooting.md of what trace-texts.pl has found and of
# docs/troubleshooting.txt. Fails, and says why, when a text has no meaning or two, or a pattern no text.
use strict;
use warnings;

my ($texts, $meanings) = @ARGV;
open my $file, '<', $texts or die "$texts: $!\n";
my @texts = map { chomp; [split /\t/, $_, 2] } <$file>;
open $file, '<', $meanings or die "$meanings: $!\n";
my (@parts, @block, $problems, %matched);
while (<$file>) {
    chomp;
    next if /^#( |$)/ || !/\S/;
    if (/^## /) { push @parts, { title => $_, rows => [] } }
    elsif (s/^\? //) { $parts[-1]{cause} = $_ }
    elsif (s/^! //) {
        push @{ $parts[-1]{rows} }, { patterns => [@block], cause => $parts[-1]{cause}, remedy => $_ };
        @block = ();
    } else { push @block, $_ }
}
print <<'END';
# Troubleshooting

<!-- Generated from the trace texts in src/ and docs/troubleshooting.txt. Do not edit: run
     tools/troubleshooting.sh > docs/troubleshooting.md -->

All errors (ERR) and warnings (WRN) that the library traces. A host sees them with `quarlo_SetTraceOutput`; which
classes are traced, `quarlo_SetTraceClass` says: warnings alone until it is called. `%d` and the like stand for what is filled in. `quarlo-headunit --trace warning` shows
them for a phone at hand. Failures of links are told in words by `quarloLink_GetEndText`.
END
for my $part (@parts) {
    print "\n$part->{title}\n\n| Trace | Cause | Remedy |\n|---|---|---|\n";
    for my $row (@{ $part->{rows} }) {
        my @cell;
        for my $pattern (@{ $row->{patterns} }) {
            my @hits = grep { $_->[1] =~ /^(?:$pattern)$/ } @texts;
            if (!@hits) { warn "no text matches: $pattern\n"; ++$problems }
            for (@hits) {
                push @{ $matched{"@$_"} }, $pattern;
                my ($class, $text) = @$_;
                $text =~ s/^(?:\s|\\t)+//;
                $text =~ s/\|/\\|/g;
                push @cell, "$class `$text`";
            }
        }
        my %seen;
        print '| ', join('<br>', grep { !$seen{$_}++ } @cell), " | $row->{cause} | $row->{remedy} |\n";
    }
}
for (map { "@$_" } @texts) {
    my @patterns = @{ $matched{$_} // [] };
    next if @patterns == 1;
    warn "$_: " . (@patterns ? 'matched by ' . join(' and by ', @patterns) : 'has no meaning') . "\n";
    ++$problems;
}
exit 1 if $problems;
