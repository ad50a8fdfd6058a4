#!/usr/bin/env bash
# layers.sh MAP: no file includes a header of a layer above its own, and no feature (layer 4) the header
# of another. MAP holds lines "LAYER FILE" made from the lists in src/CMakeLists.txt, "api FILE" for the
# host API. The headers of the transports, quarlo-*.h, are a layer above that, called "links". And no program
# includes headers of another: what two need stands in common/ or display/. Run in the root of the source tree.
set -euo pipefail

exec perl - "$1" <<'EOF'
use File::Basename;
use File::Find;

my %layer_of;
my $problems = 0;
while (<>) { $layer_of{$2} = $1 if /^(\S+) (.*)$/ }
sub problem { print "@_\n"; ++$problems }

# The layer of a file of src/: its own line in the map, else that of the source of the same name.
sub layer {
    return "links" if $_[0] =~ /^quarlo-.*\.h$/;
    return $layer_of{$_[0]} // $layer_of{$_[0] =~ s/\.[^.]*$//r . ".cpp"};
}
# What a file includes, as it is written.
sub included {
    open my $file, "<", $_[0] or die "$_[0]: $!";
    return map { /^\s*#\s*include\s*["<]([^">]+)[">]/ ? $1 : () } <$file>;
}
# The headers of src/ among these, and those of the transports.
sub of_library { return grep { -e "src/$_" || /^quarlo-.*\.h$/ } map { basename($_) } @_ }

# Parts of one feature share a name up to a hyphen: X.h is open to X.cpp and to X-Part.cpp.
sub same_feature {
    my ($user, $header) = map { s/\.[^.]*$//r } @_;
    return $user eq $header || index($user, "$header-") == 0 || index($header, "$user-") == 0;
}

my @files = map { basename($_) } glob("src/*.cpp src/*.h src/*.def");
for my $file (@files) {
    my $own = layer($file);
    if (!defined $own) {
        problem("src/$file: stands in no layer of src/CMakeLists.txt");
        next;
    }
    for my $header (of_library(included("src/$file"))) {
        my $theirs = layer($header) // next;  # reported as a file without a layer
        if ($theirs eq "links") {
            problem("src/$file includes $header of the transports");
        } elsif ($own eq "0" && $theirs eq "api") {
            problem("src/$file (layer 0) includes $header of the host API");
        } elsif ($theirs eq "0" || $theirs eq "api") {
            next;
        } elsif ($own eq "api" || $theirs > $own) {
            problem("src/$file (layer $own) includes $header (layer $theirs)");
        } elsif ($own == 4 && $theirs == 4 && !same_feature($file, $header)) {
            problem("src/$file (a feature) includes $header of another feature");
        }
    }
}

# Files in a directory include only headers of the allowed layers, and of other directories only those of the
# neighbours, with their path or by a name that only they have.
sub outside {
    my ($directory, $layers, $neighbours) = @_;
    my @there;
    find(sub { push @there, $File::Find::name if /\.(c|cpp|h)$/ }, $directory);
    for my $file (@there) {
        my @headers = included($file);
        for my $header (grep { !-e dirname($file) . "/$_" && !-e "$directory/$_" } @headers) {
            for my $other (grep { $header =~ m{^$_/} || -e "$_/$header" } qw(common display phone headunit)) {
                problem("$file includes $header of $other/") unless $neighbours =~ /\b$other\b/;
            }
        }
        for my $header (of_library(@headers)) {
            my $theirs = layer($header) // "none";
            problem("$file includes $header (layer $theirs)") unless $layers =~ /\b$theirs\b/;
        }
    }
}
outside("plugins", "0", "");
outside("links", "0 api links", "");
outside("common", "0 api", "");
outside("display", "0 api", "common");
outside("phone", "0 2 api links", "common display");
outside("headunit", "0 2 api links", "common display");

printf "layers: %d files of src/ checked, %d problems\n", scalar @files, $problems;
exit(@files == 0 || $problems > 0);
EOF
