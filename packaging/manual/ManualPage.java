import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** A page of the manual: what people wrote stays, what follows the mark is made anew. */
final class ManualPage {
    private static final String MARK = "<!-- From here on made from the code: see packaging/manual. -->\n";

    private final Path file;
    private final StringBuilder text;

    /**
     * Begins a page.
     *
     * @param written the page as it is, with what people wrote
     * @param file    where the new page goes
     * @throws IOException when the page cannot be read, or has no mark
     */
    ManualPage(Path written, Path file) throws IOException {
        String old = Files.readString(written);
        int mark = old.indexOf(MARK);
        if (mark < 0) {
            throw new IOException(written + " has no line " + MARK);
        }
        this.file = file;
        this.text = new StringBuilder(old.substring(0, mark + MARK.length()));
    }

    ManualPage heading(String heading) {
        text.append("\n").append(heading).append("\n");
        return this;
    }

    ManualPage paragraph(String paragraph) {
        text.append("\n").append(paragraph.strip()).append("\n");
        return this;
    }

    /** Begins a table. */
    ManualPage table(String... headings) {
        text.append("\n");
        row((Object[]) headings);
        text.append("|---".repeat(headings.length)).append("|\n");
        return this;
    }

    ManualPage row(Object... cells) {
        for (Object cell : cells) {
            text.append("| ").append(String.valueOf(cell).replace("|", "\\|")).append(" ");
        }
        text.append("|\n");
        return this;
    }

    void write() throws IOException {
        Files.writeString(file, text);
    }
}
