// Runs the programs of docs/verify.md without a new virtual machine for each document. A line on standard input names a
// class and its arguments, with tabs between them; it is answered with an empty line, or with the reason of the refusal.

import java.io.BufferedReader;
import java.io.InputStreamReader;
import java.io.OutputStream;
import java.io.PrintStream;
import java.lang.reflect.InvocationTargetException;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;

class Batch {
    public static void main(String[] none) throws Exception {
        var answers = System.out;
        System.setOut(new PrintStream(OutputStream.nullOutputStream()));
        var lines = new BufferedReader(new InputStreamReader(System.in, StandardCharsets.UTF_8));
        for (String line = lines.readLine(); line != null; line = lines.readLine()) {
            String[] words = line.split("\t");
            var program = Class.forName(words[0]).getDeclaredMethod("main", String[].class);
            program.setAccessible(true);
            try {
                program.invoke(null, (Object) Arrays.copyOfRange(words, 1, words.length));
                answers.println();
            } catch (InvocationTargetException refusal) {
                answers.println(refusal.getCause().toString().replace('\n', ' '));
            }
        }
    }
}
