#!/usr/bin/env bash
# Links between the pages: a file that a page links to or shows exists, and so does the heading behind a
# "#". Run in the root of the source tree.
set -euo pipefail

mapfile -t pages < <(find . \( -name build -o -name "build-*" -o -name out -o -name .git \) -prune -o -name "*.md" -printf '%P\n')
exec perl -0777 - "${pages[@]}" <<'EOF'
use File::Basename;
my ($links, $problems, %pages) = (0, 0);

# The text of a page without its code, and the anchors of its headings, as forges make them.
sub page {
    my ($path) = @_;
    return $pages{$path} //= do {
        open my $file, "<", $path or die "$path: $!";
        my $text = <$file> =~ s/^```.*?^```[^\n]*$//gmsr;
        my %anchors = map {
            my $heading = lc =~ s/\[([^]]*)\]\([^)]*\)/$1/gr =~ s/[^[:alnum:] _-]//gr =~ s/ /-/gr;
            ($heading => 1);
        } $text =~ /^#+ +(.*)$/mg;
        {text => $text, anchors => \%anchors};
    };
}
for my $path (@ARGV) {
    for my $link (page($path)->{text} =~ /\]\(([^) \n]+)\)/g) {
        next if $link =~ /^(https?|mailto):/;
        ++$links;
        my ($file, $anchor) = $link =~ /^([^#]*)#?(.*)$/;
        my $target = $file eq "" ? $path : dirname($path) . "/$file";
        my $missing = !-e $target ? "there is no $target"
            : $anchor ne "" && !page($target)->{anchors}{$anchor} ? "$target has no heading for #$anchor" : next;
        print "$path: $missing\n";
        ++$problems;
    }
}
print "links: $links followed, $problems problems\n";
exit($links == 0 || $problems > 0);
EOF
