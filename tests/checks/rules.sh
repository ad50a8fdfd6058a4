#!/usr/bin/env bash
# Rules of the sources in src/ that a search can check. Comments, includes and the contents of literals are
# out of the search. Run in the root of the source tree.
set -euo pipefail

exec perl -0777 - src/*.cpp src/*.h <<'EOF'
# Each rule: why, what is not allowed, and in which files or in which not.
my @rules = (
    # One seam for memory: a host, or a test, that takes it over gets every allocation. Placement new is free.
    ["allocates beside the platform layer; use quarlo_malloc and quarlo_free",
     qr/(?<![.>\w])(malloc|calloc|realloc|reallocarray|aligned_alloc|posix_memalign|strdup|strndup|asprintf|free)\s*\(/,
     qr/^(?!src\/QUARLO-Posix\.cpp)/],
    ["new and delete stand in the platform layer only",
     qr/\bnew\b(?!\s*\()|\boperator\s+new\b|\bnew\s*\(\s*std::nothrow|(?<!=)(?<!= )\bdelete\b(?!;)|\bdelete\s*\[/,
     qr/^(?!src\/QUARLO-Posix\.cpp)/],
    ["allocates beside the platform layer and cannot report failure",
     qr/\bstd::(string|vector|deque|list|forward_list|map|multimap|set|multiset|unordered_\w+|function|any|shared_ptr|make_shared|make_unique|thread|jthread|async|[io]?stringstream)\b/,
     qr/^(?!src\/QUARLO-Posix\.cpp)/],
    ["writes without a bound", qr/\b(v?sprintf|strcpy|strcat|stpcpy|gets)\s*\(/, qr/./],
    # What the phone makes grow must not be searched for every element.
    ["searches the whole list; use listAppendFresh", qr/\blistAppendElement\b/,
     qr/^(?!src\/QUARLO-Core-List\.)/],
    ["asks sizeOf_PacketHeader instead of knowing the header's size",
     qr/(?<![\w.])9[uUlLzZ]*(?![\w.])/, qr/^src\/QUARLO_Receive.*\.cpp/]);

# Line breaks stay, for the numbers of the lines.
sub blank { return $_[0] =~ s/[^\n]+//gr }
my $literal = qr/(?<![0-9A-Fa-f])'(?:[^'\\\n]|\\.)[0-7a-f]*'/;
my ($files, $problems) = (0, 0);
while (my $code = <>) {
    ++$files;
    $code =~ s{($literal|R"(\w*)\(.*?\)\2"|"(?:[^"\\\n]|\\.)*")|(//[^\n]*|/\*.*?\*/)}
              {defined $3 ? blank($3) : '""' . blank($1)}gse;
    my $number = 0;
    for my $line (split /\n/, $code) {
        ++$number;
        next if $line =~ /^\s*#\s*include/;
        for my $rule (@rules) {
            my ($why, $pattern, $where) = @$rule;
            next unless $ARGV =~ /$where/ && $line =~ /$pattern/;
            print "$ARGV:$number: $why\n$line\n";
            ++$problems;
        }
    }
}
print "rules: $files files of src/ checked, $problems problems\n";
exit($files == 0 || $problems > 0);
EOF
