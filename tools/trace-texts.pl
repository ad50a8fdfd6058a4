#!/usr/bin/perl
# trace-texts.pl FILE...: the texts that C++ sources may trace as errors and warnings, one a line: ERR or WRN, a tab,
# the text. A text counts unless the call that it stands in is known to say something else, so that a new way of
# warning is not missed.
use strict;
use warnings;

# Calls whose texts are no warnings; a trace is one by its class.
my %other = map { $_ => 1 } qw(api store printf fprintf fputs snprintf strcmp strncpy strftime
    becomeThread text traceThread sendOn printText resolve version quarlo_fopen quarlo_dlopen limitReceiver nameOf static_assert);
my $loud = qr/^eTRACECLASS_(?:ERROR|WARNING)$/;

my %seen;
for my $path (@ARGV) {
    open my $file, '<', $path or die "$path: $!\n";
    my $text = do { local $/; <$file> };
    my %named = $text =~ /constexpr eTraceClass (\w+) = (eTRACECLASS_\w+)/g;
    my @tokens;
    while ($text =~ m{\G(?:\s+|//[^\n]*|/\*.*?\*/|^\#(?:[^\n]*\\\n)*[^\n]*|("(?:[^"\\]|\\.)*")|('(?:[^'\\]|\\.)*')|(\w+)|(.))}gcmsx) {
        push @tokens, $1 // $2 // $3 // $4 if defined($1 // $2 // $3 // $4);
    }
    my @stack = ({ name => '', texts => [], classes => [] });
    for my $i (0 .. $#tokens) {
        my $token = $tokens[$i];
        if ($token eq '(') {
            my ($at, $depth) = ($i - 1, 0);
            if ($at > 0 && $tokens[$at] eq '>') {    # send<packetX>(
                do { $depth += $tokens[$at] eq '>'; $depth -= $tokens[$at] eq '<'; --$at } while $depth && $at > 0;
            }
            push @stack, { name => $tokens[$at], texts => [], classes => [] };
        } elsif ($token eq ')' && @stack > 1) {
            my $call = pop @stack;
            my ($class) = @{ $call->{classes} };
            next if $other{ $call->{name} } || ($class && !grep({ /$loud/ } @{ $call->{classes} }));
            my $kind = grep({ $_ eq 'eTRACECLASS_ERROR' } @{ $call->{classes} }) ? 'ERR' : 'WRN';
            # A word alone is a name, unless it is traced as it is.
            my @said = grep { / / || $call->{name} =~ /^trace/ && /^\w{6,}$/ } @{ $call->{texts} };
            $seen{"$kind\t$_"} = 1 for @said;
        } elsif ($token =~ /^eTRACECLASS_/ || $named{$token}) {
            push @{ $stack[-1]{classes} }, $named{$token} // $token;
        } elsif ($token =~ /^"(.*)"$/s) {
            my $part = $1;
            if ($i && $tokens[$i - 1] =~ /^"/ && @{ $stack[-1]{texts} }) { $stack[-1]{texts}[-1] .= $part }
            else { push @{ $stack[-1]{texts} }, $part }
        }
    }
}
print map { "$_\n" } sort keys %seen;
