// The library in C#: declarations of the C interface (KORInterface/kor.h), and one session with it.
//
//   KorExample DIRECTORY ID RECORDING     prints the orientations of a recording
//
// Texts go in as UTF-8 bytes with a zero at the end (Kor.Utf8) and come out in buffers of bytes (Kor.Text). Outputs
// that are not wanted may be null where they are arrays.
using System;
using System.Globalization;
using System.Runtime.InteropServices;
using System.Text;

namespace KORInterface
{
    [StructLayout(LayoutKind.Sequential)]
    public struct DVector2
    {
        public double X, Y;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct DVector3
    {
        public double X, Y, Z;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct FVector2
    {
        public float X, Y;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct FVector4
    {
        public float X, Y, Z, W;
    }

    // One raw sample, 68 bytes. Arrays of C are fields one by one, so that the records need no marshalling.
    [StructLayout(LayoutKind.Sequential)]
    public struct RawInfo
    {
        public int Reserved0;
        public int Status;
        public float SensorVector0, SensorVector1, SensorVector2;
        public float AzimuthRaw;
        public float ElevationRaw;
        public float LevelXRaw;
        public float LevelYRaw;
        public float LevelTemperature;
        public float ReferenceGate;
        public int Reserved44;
        public byte ReferenceHold;
        public byte Reserved490, Reserved491, Reserved492;
        public int TemperatureCount0, TemperatureCount1, TemperatureCount2;
        public uint TimeStampMs;
    }

    // One result, 60 bytes.
    [StructLayout(LayoutKind.Sequential)]
    public struct Info
    {
        public int Reserved0;
        public float Azimuth;
        public float Elevation;
        public float LevelX;
        public float LevelY;
        public float OrientationAngles0, OrientationAngles1, OrientationAngles2;
        public int Reserved32;
        public float SensorOut0, SensorOut1, SensorOut2;
        public float Temperature0, Temperature1, Temperature2;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct ReadReport
    {
        public uint Size;
        public int Status;
        public uint Message;
        public uint Line;
        public int OutOfMemory;
        public uint Findings;
        public ulong AllFindings;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct ReadFinding
    {
        public uint Size;
        public int Kind;
        public uint Line;
        public uint Reserved;
        public ulong Values;
        public ulong Rows;
        public ulong Count;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct CheckReport
    {
        public uint Size;
        public int Status;
        public uint Message;
        public int OutOfMemory;
        public uint Findings;
        public uint Errors;
        public uint Warnings;
        public uint Notes;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct CheckFinding
    {
        public uint Size;
        public int Severity;
        public uint Line;
        public uint Reserved;
        public ulong More;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct ConfigureOptions
    {
        public uint Size;
        public int HasMountMode;
        public int MountMode;
        public int HasMcsFlag;
        public int McsFlag;
        public int ParameterStore;
        public int HasDetector;
        public int Detector0, Detector1, Detector2;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct SampleReport
    {
        public uint Size;
        public int Outcome;
        public int Reason;
        public int Model;
        public int CapturedReference;
        public int LevelXOutside;
        public int LevelYOutside;
        public int SpoiledBy;
        public ulong SpoiledSince;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct Problem
    {
        public uint Size;
        public int Status;
        public ulong Line;
        public ulong Record;
        public ulong Byte;
        public int GoesOn;
        public int OutOfMemory;
    }

    public enum Status
    {
        Success = 0,
        BadArgument = 20,
        CannotOpen = 550,
        NotLoaded = 551,
        FormatError = 553,
        NoMatrix = 554
    }

    public enum Outcome
    {
        NeverFed = 0,
        NoModel = 1,
        RejectedByStatus = 2,
        NoMatrix = 3,
        NotFinite = 4,
        BeforeReference = 5,
        Valid = 6,
        Spoiled = 7
    }

    public enum Reason
    {
        None = 0,
        BothLevelsExcluded = 1,
        FiltersFilling = 2,
        ModelRefused = 3
    }

    public enum Model
    {
        None = 0,
        DualLevel = 1,
        Pendulum = 2,
        Polarizer = 3,
        ThreeVectors = 4,
        TwoLevels = 5
    }

    public enum SpoiledBy
    {
        Nothing = 0,
        ProcessValues = 1,
        Reference = 2
    }

    public enum TextPart
    {
        Sentence = 0,
        File = 1,
        Block = 2,
        Field = 3,
        Found = 4,
        Expected = 5,
        Reason = 6,
        Advice = 7,
        Rule = 8
    }

    public enum Format
    {
        Any = 0,
        Csv = 1,
        Binary = 2
    }

    public enum FindingKind
    {
        UnreadableValue = 0,
        ShortTable = 1
    }

    public enum Severity
    {
        Note = 0,
        Warning = 1,
        Error = 2
    }

    public enum Mode
    {
        OfFile = int.MinValue
    }

    // The functions under their names in C; kor.h describes them.
    public static class Kor
    {
        private const string Library = "KORInterface";

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr kor_status_text(int status);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr kor_outcome_text(int outcome);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr kor_reason_text(int reason);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr kor_model_text(int model);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr kor_spoiled_text(int spoiledBy);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr kor_message_text(uint id);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_create(out IntPtr prm);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_destroy(IntPtr prm);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_read(IntPtr prm, byte[] directory, uint id);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_read_report(IntPtr prm, ref ReadReport report);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_read_text(IntPtr prm, int which, byte[] text, UIntPtr room,
            out UIntPtr length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_read_finding(IntPtr prm, uint index, ref ReadFinding finding);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_read_finding_text(IntPtr prm, uint index, int which, byte[] text,
            UIntPtr room, out UIntPtr length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_check(IntPtr prm, byte[] directory, uint id, int mode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_check_file(IntPtr prm, byte[] path, int mode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_check_report(IntPtr prm, ref CheckReport report);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_check_finding(IntPtr prm, uint index, ref CheckFinding finding);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_check_finding_text(IntPtr prm, uint index, int which, byte[] text,
            UIntPtr room, out UIntPtr length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_azimuth_table(IntPtr prm, float[] table, UIntPtr room,
            out UIntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_elevation_table(IntPtr prm, float[] table, UIntPtr room,
            out UIntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_level_x_table(IntPtr prm, float[] knots, double[] coefficients,
            UIntPtr room, out UIntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_level_y_table(IntPtr prm, float[] knots, double[] coefficients,
            UIntPtr room, out UIntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_scale_factors(IntPtr prm, float[] values);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_qvc_parameters(IntPtr prm, float[] values);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_level1_parameters(IntPtr prm, float[] values);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_level2_parameters(IntPtr prm, float[] values);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_dynamic_parameters(IntPtr prm, float[] values);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_detector(IntPtr prm, float[] x, float[] y);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_encoder_offset(IntPtr prm, out FVector2 offset);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_encoder_limit(IntPtr prm, out FVector4 limit);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_known_vector(IntPtr prm, double[] vector);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_local_matrix(IntPtr prm, double[] matrix);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_machine_matrix(IntPtr prm, double[] matrix);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_thermal_factor(IntPtr prm, out FVector4 factor);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_tilt_offset(IntPtr prm, out FVector2 offset);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_level_limits(IntPtr prm, out FVector4 limits);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_mount_mode(IntPtr prm, out int mode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_get_adm_offset(IntPtr prm, out float offset);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_set_scale_factors(IntPtr prm, float[] values, uint count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_set_encoder_offset(IntPtr prm, ref FVector2 offset);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_set_known_vector(IntPtr prm, double[] vector);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_set_local_matrix(IntPtr prm, double[] matrix);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_set_machine_matrix(IntPtr prm, double[] matrix);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_set_thermal_factor(IntPtr prm, ref FVector4 factor);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_set_tilt_offset(IntPtr prm, ref FVector2 offset);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_prm_set_level_limits(IntPtr prm, ref FVector4 limits);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_create(out IntPtr engine);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_destroy(IntPtr engine);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_configure(IntPtr engine, IntPtr prm, ref ConfigureOptions options);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_scale_factors(IntPtr engine, float[] values, int count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_qvc_parameters(IntPtr engine, float[] values, int count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_level1_parameters(IntPtr engine, float[] values, int count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_level2_parameters(IntPtr engine, float[] values, int count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_level_x_table(IntPtr engine, int count, float[] knots,
            double[] coefficients);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_level_y_table(IntPtr engine, int count, float[] knots,
            double[] coefficients);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_azimuth_table(IntPtr engine, int count, float[] table);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_elevation_table(IntPtr engine, int count, float[] table);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_encoder_offset(IntPtr engine, ref FVector2 offset);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_tilt_offset(IntPtr engine, ref FVector2 offset);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_thermal_factor(IntPtr engine, ref FVector4 factor);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_known_vector(IntPtr engine, double[] vector);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_local_matrix(IntPtr engine, double[] matrix);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_machine_matrix(IntPtr engine, double[] matrix);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_mcs_flag(IntPtr engine, int machine);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_detector(IntPtr engine, int first, int second, int divisor);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_parameter_store(IntPtr engine, float[] dynamic, float[] x,
            float[] y);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_set_mount_mode(IntPtr engine, int mode);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_update(IntPtr engine, ref RawInfo raw, out Info info, double[] matrix,
            out int code, ref SampleReport report);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_update_many(IntPtr engine, RawInfo[] raw, UIntPtr count,
            [In, Out] Info[] info, double[] matrices, int[] codes, int[] outcomes);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_last_sample(IntPtr engine, ref SampleReport report);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_sample_text(ref SampleReport report, byte[] text, UIntPtr room,
            out UIntPtr length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_read_matrix(IntPtr engine, double[] matrix);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_inverse_azimuth(IntPtr engine, float azimuth, out float reading);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_inverse_elevation(IntPtr engine, float elevation, out float reading);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_engine_home_vector(IntPtr engine, ref DVector3 a, ref DVector3 b,
            ref DVector2 reference, ref DVector3 measured, out double first, out double second, out int solved);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_fresh_process_values();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_reader_create(out IntPtr reader);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_reader_destroy(IntPtr reader);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_reader_open(IntPtr reader, byte[] path, int format);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_reader_read(IntPtr reader, [In, Out] RawInfo[] raw, UIntPtr room,
            out UIntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_reader_place(IntPtr reader, out ulong place);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_reader_problem(IntPtr reader, ref Problem problem);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_reader_problem_text(IntPtr reader, int which, byte[] text, UIntPtr room,
            out UIntPtr length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_reader_warnings(IntPtr reader, out UIntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_reader_warning_text(IntPtr reader, UIntPtr index, byte[] text, UIntPtr room,
            out UIntPtr length);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_reader_close(IntPtr reader);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_writer_create(out IntPtr writer);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_writer_destroy(IntPtr writer);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_writer_open(IntPtr writer, byte[] path, int format);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_writer_write(IntPtr writer, RawInfo[] raw, UIntPtr count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_writer_close(IntPtr writer);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_writer_problem(IntPtr writer, ref Problem problem);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int kor_writer_problem_text(IntPtr writer, int which, byte[] text, UIntPtr room,
            out UIntPtr length);

        // A text as the functions take it.
        internal static byte[] Utf8(string text)
        {
            return Encoding.UTF8.GetBytes(text + "\0");
        }

        // A text that a function has put into a buffer.
        internal static string Text(byte[] bytes)
        {
            int end = Array.IndexOf(bytes, (byte)0);
            return Encoding.UTF8.GetString(bytes, 0, end < 0 ? bytes.Length : end);
        }

        // A text by number.
        internal static string Text(IntPtr text)
        {
            return Marshal.PtrToStringAnsi(text);
        }
    }

    public static class KorExample
    {
        public static int Main(string[] arguments)
        {
            if (arguments.Length != 3)
            {
                Console.Error.WriteLine("usage: KorExample DIRECTORY ID RECORDING");
                return 2;
            }
            byte[] text = new byte[500];
            UIntPtr length;
            IntPtr prm = IntPtr.Zero, engine = IntPtr.Zero, reader = IntPtr.Zero;
            try
            {
                if (Kor.kor_prm_create(out prm) != 0 || Kor.kor_engine_create(out engine) != 0 ||
                    Kor.kor_reader_create(out reader) != 0)
                {
                    Console.Error.WriteLine("there is not enough memory");
                    return 1;
                }
                ConfigureOptions options = new ConfigureOptions();
                options.Size = (uint)Marshal.SizeOf(typeof(ConfigureOptions));
                if (Kor.kor_prm_read(prm, Kor.Utf8(arguments[0]), uint.Parse(arguments[1])) != 0)
                {
                    Kor.kor_prm_read_text(prm, (int)TextPart.Sentence, text, (UIntPtr)text.Length, out length);
                    Console.Error.WriteLine(Kor.Text(text));
                    return 1;
                }
                int status = Kor.kor_engine_configure(engine, prm, ref options);
                if (status != 0)
                {
                    Console.Error.WriteLine(Kor.Text(Kor.kor_status_text(status)));
                    return 1;
                }
                status = Kor.kor_reader_open(reader, Kor.Utf8(arguments[2]), (int)Format.Any);
                RawInfo[] raw = new RawInfo[1000];
                Info[] info = new Info[1000];
                int[] outcomes = new int[1000];
                for (bool more = true; status == 0 && more;)
                {
                    UIntPtr count;
                    status = Kor.kor_reader_read(reader, raw, (UIntPtr)raw.Length, out count);
                    Kor.kor_engine_update_many(engine, raw, count, info, null, null, outcomes);
                    for (int i = 0; i < (int)count; ++i)
                    {
                        Info of = info[i];
                        Console.WriteLine(outcomes[i] == (int)Outcome.Valid
                            ? string.Format(CultureInfo.InvariantCulture, "{0} ms: x {1:F4}, z {2:F4}, y {3:F4} deg",
                                            raw[i].TimeStampMs, (double)of.OrientationAngles0,
                                            (double)of.OrientationAngles1, (double)of.OrientationAngles2)
                            : raw[i].TimeStampMs + " ms: " + Kor.Text(Kor.kor_outcome_text(outcomes[i])));
                    }
                    more = count != UIntPtr.Zero;
                }
                if (status != 0)
                {
                    Kor.kor_reader_problem_text(reader, (int)TextPart.Sentence, text, (UIntPtr)text.Length, out length);
                    Console.Error.WriteLine(Kor.Text(text));
                }
                return status == 0 ? 0 : 1;
            }
            finally
            {
                Kor.kor_reader_destroy(reader);
                Kor.kor_engine_destroy(engine);
                Kor.kor_prm_destroy(prm);
            }
        }
    }
}
