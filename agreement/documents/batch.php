<?php
// Runs the programs of docs/verify.md without a new interpreter for each document. A line on standard input names a program
// and its arguments, with tabs between them; it is answered with an empty line, or with the reason of the refusal.

while (($line = fgets(STDIN)) !== false) {
    $argv = explode("\t", rtrim($line, "\n"));
    $child = pcntl_fork();
    if ($child === 0) {
        ob_start(fn () => '');
        require $argv[0];
        exit(0);
    }
    pcntl_waitpid($child, $status);
    echo $status === 0 ? "\n" : "it ended with $status\n";
}
