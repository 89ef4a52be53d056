package com.kelo.kmhash;

/**
 * A call of {@link KeloMediaHashGenerator} that failed. It always stands in for what went wrong: an exception that the
 * stream threw is not kept, also not as a cause.
 */
public class KeloMediaHashException extends Exception {
    /**
     * The stream threw, as a rule from its {@code close}, though the analysis did without what it withheld. Such a call
     * fails all the same, with this code or, when it would have returned a positive number, with that number as its
     * code.
     */
    public static final int HASHCREATE_SUCCESS = 0;

    /**
     * The object is no usable {@code InputStream}, or there was no memory to read it with; or a directory of TIFF
     * entries is out of place.
     */
    public static final int HASHCREATE_FILE_NOTFOUND = -1;

    /** Reserved, never thrown. */
    public static final int HASHCREATE_BUFFER_ERROR = -2;

    /** The format was recognised, but the file's structure is damaged, or of a kind that is not supported. */
    public static final int HASHCREATE_FORMAT_ERROR = -3;

    /** Reserved, never thrown. */
    public static final int HASHCREATE_PARAM_ERROR = -4;

    /** Fewer bytes than the file's structure or the stated size promise, or the stream's {@code read} threw. */
    public static final int HASHCREATE_READ_ERROR = -5;

    /** A position outside the file or behind what can be read again, or the stream does not {@code skip}. */
    public static final int HASHCREATE_SEEK_ERROR = -6;

    /** Reserved, never thrown. */
    public static final int HASHCREATE_NULLCHK_ERROR = -7;

    /** A digest could not be finished. */
    public static final int HASHCREATE_SHA1_ERROR = -8;

    /** The file is empty or of no supported format. */
    public static final int HASHCREATE_NON_SUPPORTED = -9;

    /** An argument is null or unknown. */
    public static final int HASHCREATE_INVALID_PARAM = -10;

    /** The text is no hash. */
    public static final int HASHCREATE_INVALID_HASH = -11;

    /** The file ended where its structure goes on. */
    public static final int HASHCREATE_REACH_EOF = -12;

    /** A part of the file, such as a later image of a multi-picture file, is broken. */
    public static final int HASHCREATE_BROKEN_CONTENT = -13;

    /** Out of memory, or a size field that no such object can have. */
    public static final int HASHCREATE_MEM_ALLOC_ERROR = -14;

    /** Any other failure. */
    public static final int HASHCREATE_ERROR = -255;

    private static final long serialVersionUID = 1L;

    /** One of the constants above. */
    private final int code;

    /**
     * Describes a failure.
     *
     * @param code the result code, as {@link #getCode} returns it
     * @param name the code's name, such as {@code HASHCREATE_READ_ERROR}
     */
    public KeloMediaHashException(int code, String name) {
        super(name);
        this.code = code;
    }

    /**
     * Returns the result code.
     *
     * @return one of the constants of this class; or a positive number, the answer that a {@code compareHash} or {@code
     *     getAlgorithmId} would have given had the stream not thrown
     */
    public int getCode() {
        return code;
    }

    /**
     * Returns the name of the result code, which is the message too.
     *
     * @return such as {@code HASHCREATE_READ_ERROR}; {@code HASHCREATE_ERROR} for a code that has no name
     */
    public String getName() {
        return getMessage();
    }

    /**
     * Returns the failure in words.
     *
     * @return such as {@code "The file ends too early"}, in English
     */
    public String getDescription() {
        if (code >= HASHCREATE_SUCCESS) {
            return "The stream failed";
        }
        switch (code) {
            case HASHCREATE_FILE_NOTFOUND:
                return "The stream cannot be used, or a directory in the file is out of place";
            case HASHCREATE_FORMAT_ERROR:
                return "The file's structure is damaged, or of a kind that is not supported";
            case HASHCREATE_READ_ERROR:
                return "The file is truncated or cannot be read";
            case HASHCREATE_SEEK_ERROR:
                return "The file points outside itself, or its stream cannot be skipped";
            case HASHCREATE_NON_SUPPORTED:
                return "The file is empty or of no supported format";
            case HASHCREATE_INVALID_PARAM:
                return "An argument is null or unknown";
            case HASHCREATE_INVALID_HASH:
                return "The text is no hash";
            case HASHCREATE_REACH_EOF:
                return "The file ends too early";
            case HASHCREATE_BROKEN_CONTENT:
                return "A part of the file is broken";
            case HASHCREATE_MEM_ALLOC_ERROR:
                return "Out of memory, or the file states an impossible size";
            default:
                return "The file could not be hashed";
        }
    }

    /**
     * Returns the failure in words, its name and its code, behind the name of the class.
     *
     * @return one line
     */
    @Override
    public String toString() {
        return getClass().getName() + ": " + getDescription() + " (" + getName() + ", " + code + ")";
    }
}
