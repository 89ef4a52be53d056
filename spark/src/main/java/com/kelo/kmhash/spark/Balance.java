package com.kelo.kmhash.spark;

import java.io.Serializable;
import java.util.Collections;
import java.util.Iterator;
import java.util.List;
import java.util.Locale;
import org.apache.spark.Partitioner;
import org.apache.spark.api.java.JavaPairRDD;
import org.apache.spark.api.java.JavaRDD;
import org.apache.spark.sql.Row;
import scala.Tuple2;

/**
 * Divides files into pieces that take about the same time. The cost of a file is what will be read of it, in bytes, and
 * a sum for each file that stands for opening it and for the round trips.
 */
final class Balance implements Serializable {
    private static final long serialVersionUID = 1L;
    private static final double FILE = 1 << 20;
    private static final long SAMPLES = 32 << 10;
    private static final long FILES_A_PIECE = 20_000;
    private static final long MOST_PIECES = 100_000;

    private final boolean whole;
    private final int readAhead;

    Balance(boolean whole, int readAhead) {
        this.whole = whole;
        this.readAhead = readAhead;
    }

    /**
     * The files, of which the first two columns are path and length, in {@code pieces} partitions, or in as many as
     * suit them and the cluster when that is 0. {@code files} must be in the same order whenever they are computed.
     */
    JavaRDD<Row> divide(JavaRDD<Row> files, int pieces) {
        List<double[]> sums = files.mapPartitions(this::sum).collect();
        double[] before = new double[sums.size() + 1];
        long count = 0;
        for (int i = 0; i < sums.size(); i++) {
            count += (long) sums.get(i)[0];
            before[i + 1] = before[i] + sums.get(i)[1];
        }
        int wanted = pieces > 0 ? pieces : suitable(count, files.context().defaultParallelism());
        double piece = Math.max(FILE, before[sums.size()] / wanted);
        return JavaPairRDD.fromJavaRDD(files.mapPartitionsWithIndex(
                        (index, rows) -> new Numbered(rows, before[index], piece), true))
                .partitionBy(new ByNumber(wanted))
                .values();
    }

    private static int suitable(long count, int parallelism) {
        return (int) Math.max(4L * parallelism, Math.min(count / FILES_A_PIECE, MOST_PIECES));
    }

    private Iterator<double[]> sum(Iterator<Row> rows) {
        double[] sum = new double[2];
        while (rows.hasNext()) {
            sum[0]++;
            sum[1] += cost(rows.next());
        }
        return Collections.singleton(sum).iterator();
    }

    private double cost(Row file) {
        long length = file.getLong(1);
        boolean all = whole || length <= readAhead || isHashedWhole(file.getString(0));
        return FILE + (all ? length : Math.min(length, SAMPLES));
    }

    /** Images of these formats have no samples, or seldom. */
    private static boolean isHashedWhole(String path) {
        String name = path.substring(path.lastIndexOf('.') + 1).toLowerCase(Locale.ROOT);
        return name.equals("bmp") || name.equals("tif") || name.equals("tiff");
    }

    /** Files with the number of the piece that each belongs to. */
    private final class Numbered implements Iterator<Tuple2<Integer, Row>> {
        private final Iterator<Row> files;
        private final double piece;
        private double before;

        Numbered(Iterator<Row> files, double before, double piece) {
            this.files = files;
            this.before = before;
            this.piece = piece;
        }

        @Override
        public boolean hasNext() {
            return files.hasNext();
        }

        @Override
        public Tuple2<Integer, Row> next() {
            Row file = files.next();
            int number = (int) (before / piece);
            before += cost(file);
            return new Tuple2<>(number, file);
        }
    }

    private static final class ByNumber extends Partitioner {
        private static final long serialVersionUID = 1L;
        private final int count;

        ByNumber(int count) {
            this.count = count;
        }

        @Override
        public int numPartitions() {
            return count;
        }

        @Override
        public int getPartition(Object number) {
            return Math.min((Integer) number, count - 1);
        }
    }
}
