package com.kelo.kmhash.spark;

import com.kelo.kmhash.HashText;
import com.kelo.kmhash.KeloMediaHashException;
import java.io.IOException;
import java.io.Serializable;
import java.util.Collections;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.sql.SparkSessionExtensions;
import org.apache.spark.sql.catalyst.FunctionIdentifier;
import org.apache.spark.sql.catalyst.InternalRow;
import org.apache.spark.sql.catalyst.encoders.ExpressionEncoder;
import org.apache.spark.sql.catalyst.expressions.Expression;
import org.apache.spark.sql.catalyst.expressions.ExpressionInfo;
import org.apache.spark.sql.catalyst.expressions.Literal;
import org.apache.spark.sql.catalyst.expressions.ScalaUDF;
import org.apache.spark.sql.types.DataType;
import org.apache.spark.sql.types.DataTypes;
import org.apache.spark.util.SerializableConfiguration;
import scala.Option;
import scala.Tuple3;
import scala.collection.JavaConverters;
import scala.collection.Seq;
import scala.runtime.AbstractFunction1;
import scala.runtime.BoxedUnit;

/**
 * Adds the function {@code kmhash} to the SQL of a session whose {@code spark.sql.extensions} names this class.
 *
 * <p>{@code kmhash(path)} hashes a file of any store that Hadoop's interface reaches, {@code kmhash(bytes)} what a
 * binary column holds. A second argument, a constant, has the words {@code 4} to take the algorithms of version 4 first
 * and {@code whole} to hash every byte of the media. The answer is the hash text, or null for what cannot be hashed, and
 * for null.
 */
public final class KmHashExtensions extends AbstractFunction1<SparkSessionExtensions, BoxedUnit> {
    private static final String NAME = "kmhash";
    private static final String USAGE = "_FUNC_(pathOrBytes[, options]) - Returns the hash text of a media file, or"
            + " null when it cannot be hashed. Words of options: 4, whole.";

    /** Makes the extension, as Spark does. */
    public KmHashExtensions() {}

    /**
     * Adds the function.
     *
     * @param extensions what the session is made of
     * @return nothing
     */
    @Override
    public BoxedUnit apply(SparkSessionExtensions extensions) {
        ExpressionInfo info = new ExpressionInfo(KmHashExtensions.class.getName(), null, NAME, USAGE, "", "", "",
                "misc_funcs", "", "", "scala_udf");
        extensions.injectFunction(new Tuple3<>(new FunctionIdentifier(NAME), info, new Builder()));
        return BoxedUnit.UNIT;
    }

    private static final class Builder extends AbstractFunction1<Seq<Expression>, Expression> {
        @Override
        public Expression apply(Seq<Expression> arguments) {
            if (arguments.isEmpty() || arguments.size() > 2) {
                throw new IllegalArgumentException(NAME + " takes a path or bytes, and options");
            }
            Expression value = arguments.head();
            DataType type = value.dataType();
            if (type.equals(DataTypes.NullType)) {
                return Literal.create(null, DataTypes.StringType);
            }
            if (!type.equals(DataTypes.StringType) && !type.equals(DataTypes.BinaryType)) {
                throw new IllegalArgumentException(NAME + " takes a string or a binary, not " + type.sql());
            }
            HashOptions options = arguments.size() == 1 ? options("") : options(constant(arguments.apply(1)));
            Function function = new Function(options,
                    new SerializableConfiguration(SparkSession.active().sessionState().newHadoopConf()));
            Seq<Option<ExpressionEncoder<?>>> plain = JavaConverters.asScalaBuffer(
                    Collections.<Option<ExpressionEncoder<?>>>emptyList()).toSeq();
            return new ScalaUDF(function, DataTypes.StringType, JavaConverters.asScalaBuffer(
                    Collections.singletonList(value)).toSeq(), plain, Option.empty(), Option.apply(NAME), true, true);
        }

        private static String constant(Expression options) {
            Object words = options.foldable() ? options.eval(InternalRow.empty()) : null;
            if (words == null) {
                throw new IllegalArgumentException("the options of " + NAME + " are no constant");
            }
            return words.toString();
        }

        private static HashOptions options(String words) {
            String version = "3";
            boolean whole = false;
            for (String word : words.trim().split(" +")) {
                if (!word.matches("3|4|whole|")) {
                    throw new IllegalArgumentException(NAME + " has no option " + word);
                }
                version = word.matches("3|4") ? word : version;
                whole |= word.equals("whole");
            }
            return new HashOptions(version, whole);
        }
    }

    /** Called on the machines of the cluster, for one value after the other. */
    private static final class Function extends AbstractFunction1<Object, Object> implements Serializable {
        private static final long serialVersionUID = 1L;
        private final HashOptions options;
        private final SerializableConfiguration configuration;

        Function(HashOptions options, SerializableConfiguration configuration) {
            this.options = options;
            this.configuration = configuration;
        }

        @Override
        public Object apply(Object value) {
            if (value == null) {
                return null;
            }
            try {
                return (value instanceof byte[] ? ofBytes((byte[]) value) : ofPath(value.toString())).toString();
            } catch (IOException | KeloMediaHashException e) {
                return null;
            }
        }

        private HashText ofBytes(byte[] bytes) throws IOException, KeloMediaHashException {
            return options.hash(new BytesChannel(bytes, bytes.length));
        }

        private HashText ofPath(String path) throws KeloMediaHashException {
            return new FileHasher(configuration.value(), options, 0).hash(path);
        }
    }
}
