#!/usr/bin/perl
# page.pl FILE: a page of Markdown as doxygen wants it. Headings get names that are unique in the site, links between
# pages lead to these names, and links to other files of the tree to copies of them under files/. Run in the root.
use strict;
use warnings;
use File::Spec::Functions qw(abs2rel canonpath catfile rel2abs);
use File::Basename qw(dirname);

my $path = abs2rel(shift @ARGV);

# The name of a page, and the anchors of its headings as forges make them.
# The first page of the site is README.md; programs.md is made, anywhere.
sub key { my ($page) = @_; return 'index' if $page eq 'README.md'; $page =~ s{.*/programs\.md$}{programs.md}; $page =~ s/\.md$//; $page =~ s/\W/_/g; return "page_\L$page" }
sub slug {
    my ($title) = @_;
    $title =~ s/\[([^\]]*)\]\([^)]*\)/$1/g;
    $title = lc $title;
    $title =~ s/[^\w\s-]//g;
    $title =~ s/ /-/g;
    return $title;
}
sub target {
    my ($link) = @_;
    return $link if $link =~ /^(?:https?|mailto):/;
    my ($file, $anchor) = split /#/, $link, 2;
    my $there = $file eq '' ? $path : catfile(dirname($path), $file);
    1 while $there =~ s{(?:^|(?<=/))(?!\.\./)[^/]+/\.\./}{};
    $there =~ s{^(\./)+}{};
    return "files/$there" unless $there =~ /\.md$/;
    return '@ref ' . key($there) . (defined $anchor ? "-$anchor" : '');
}

open my $in, '<', $path or die "$path: $!\n";
my $first = 1;
sub heading {
    my ($level, $title) = @_;
    my $name = $first ? key($path) : key($path) . '-' . slug($title);
    $first = 0;
    return "$level $title {#" . ($name eq 'index' ? 'mainpage' : $name) . '}';
}
my $page = do { local $/; <$in> };
# Doxygen overlooks indented listings behind headings; those in lists it does not.
$page =~ s/((?:^|\n)(?![ \d*-])[^\n]*\n\n)((?: {4}[^\n]*\n|\n(?= {4}))+)/my ($before, $code) = ($1, $2); $code =~ s{^ {4}}{}gm; "$before```\n$code```\n"/ge;
# Listings between fences stay as they are.
for my $part (split /(^```.*?^```$)/ms, $page) {
    if ($part !~ /^```/) {
        $part =~ s/^(#+) +(.*?)[ \t]*$/heading($1, $2)/gme;
        # Pictures are found by their names, and have their captions in one line.
        $part =~ s{!\[([^\]]*)\]\((?:[^) ]*/)?([^) /]+)\)}{my ($text, $file) = ($1, $2); $text =~ tr/\n/ /; "![$text]($file)"}ge;
        $part =~ s/(?<!!)(\[(?:[^\[\]]|\[[^\]]*\])*\])\(([^) ]+)\)/my ($text, $link) = ($1, target($2)); $text =~ tr{\n}{ }; $text =~ tr{`}{}d if $link =~ m{^\@ref}; "$text($link)"/ge;
        # A percent sign is doxygen's own.
        $part =~ s{`([^`\n]*%[^`\n]*)`}{my $code = $1; $code =~ s/&/&amp;/g; $code =~ s/</&lt;/g; $code =~ s{%}{\\%}g; "<code>$code</code>"}ge;
    }
    print $part;
}
