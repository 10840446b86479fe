import java.io.BufferedReader;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.PrintWriter;
import java.lang.management.GarbageCollectorMXBean;
import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import java.util.concurrent.FutureTask;
import org.eclipse.emf.common.util.TreeIterator;
import org.eclipse.emf.common.util.URI;
import org.eclipse.emf.ecore.EObject;
import org.eclipse.emf.ecore.EPackage;
import org.eclipse.emf.ecore.EcorePackage;
import org.eclipse.emf.ecore.impl.EPackageRegistryImpl;
import org.eclipse.emf.ecore.resource.Resource;
import org.eclipse.emf.ecore.resource.ResourceSet;
import org.eclipse.emf.ecore.resource.impl.BinaryResourceImpl;
import org.eclipse.emf.ecore.resource.impl.ResourceSetImpl;
import org.eclipse.emf.ecore.util.BasicExtendedMetaData;
import org.eclipse.emf.ecore.util.EcoreUtil;
import org.eclipse.emf.ecore.util.ExtendedMetaData;
import org.eclipse.emf.ecore.xmi.XMLResource;
import org.eclipse.emf.ecore.xmi.impl.XMIResourceImpl;
import org.eclipse.emf.ecore.xmi.impl.XMLParserPoolImpl;
import org.eclipse.emf.ecore.xml.type.XMLTypePackage;

/**
 * Measures EMF's forms of real models, from and to memory.
 *
 * <pre>java EmfBench LIST WORK
 * java EmfBench --serve LIST</pre>
 *
 * LIST names the models. WORK holds the number of elements that the other side counted (kr0.tsv) and its
 * documents to compare with; the figures go to WORK/emf.tsv. Exit code 1: EMF sees another model than the
 * other side does. A form in which EMF does not give back its own model is left out, visibly.
 *
 * With --serve it takes one sample of reading whenever a line on standard input names a model and a form, with a tab
 * between, and answers with milliseconds.
 */
public final class EmfBench {
    /** EMF's binary writer and its comparison follow references by recursion, as deep as the model's graph. */
    private static final long STACK_BYTES = 4L << 30;
    private static final URI PLACE = URI.createURI("models:/document.xmi");
    private static final int BUFFER_CAPACITY = 64 * 1024;

    /** The forms of EMF. */
    private enum Form {
        BINARY_1_0("EMF binary 1.0"), BINARY_1_1("EMF binary 1.1"), XMI("EMF XMI");

        final String label;

        Form(String label) {
            this.label = label;
        }
    }

    private static final class Different extends Exception {
        private static final long serialVersionUID = 1L;

        Different(String message) {
            super(message);
        }
    }

    private final Path work;
    private final Map<String, Integer> counts = new HashMap<>();
    private final List<String> figures = new ArrayList<>();
    private final Stopwatch stopwatch = new Stopwatch();

    private EmfBench(Path work) throws IOException {
        this.work = work;
        for (String line : Files.readAllLines(work.resolve("kr0.tsv"))) {
            String[] fields = line.split("\t");
            if (fields[2].equals("elements")) counts.put(fields[0], (int) Double.parseDouble(fields[3]));
        }
    }

    public static void main(String[] arguments) throws Exception {
        FutureTask<Integer> bench = new FutureTask<>((Callable<Integer>) () -> run(arguments));
        new Thread(null, bench, "bench", STACK_BYTES).start();
        System.exit(bench.get());
    }

    private static int run(String[] arguments) throws IOException {
        if (arguments[0].equals("--serve")) {
            serve(readList(Path.of(arguments[1])));
            return 0;
        }
        EmfBench bench = new EmfBench(Path.of(arguments[1]));
        try {
            bench.measureAll(readList(Path.of(arguments[0])));
            return 0;
        } catch (Different difference) {
            System.out.println("DIFFERENT  " + difference.getMessage());
            return 1;
        }
    }

    private static List<RealModel> readList(Path list) throws IOException {
        List<RealModel> models = new ArrayList<>();
        for (String line : Files.readAllLines(list)) {
            String[] fields = line.split("\t");
            models.add(new RealModel(fields[0], Path.of(fields[1]), Path.of(fields[2])));
        }
        return models;
    }

    /** What is read has been saved before; all of it is read a while first, so that the machine is warm. */
    private static void serve(List<RealModel> models) throws IOException {
        Stopwatch stopwatch = new Stopwatch();
        Map<String, Stopwatch.Work> reads = new HashMap<>();
        for (RealModel model : models) {
            for (Form form : new Form[] {Form.BINARY_1_0, Form.BINARY_1_1}) {
                byte[] saved = model.save(form, model.hold(form));
                reads.put(model.name + "\t" + form.label, () -> model.load(form, saved));
            }
        }
        for (int i = 0; i < 2; i++) {
            for (Stopwatch.Work read : reads.values()) stopwatch.median(read);
        }
        BufferedReader questions = new BufferedReader(new InputStreamReader(System.in));
        for (String line = questions.readLine(); line != null; line = questions.readLine()) {
            System.out.println(stopwatch.sample(reads.get(line)));
        }
    }

    private void measureAll(List<RealModel> models) throws IOException, Different {
        // All are compared before any is measured; the comparisons warm the machine up, too.
        for (RealModel model : models) compare(model);
        long collected = stopwatch.collectorMilliseconds();
        for (RealModel model : models) measure(model);
        collected = stopwatch.collectorMilliseconds() - collected;
        try (PrintWriter out = new PrintWriter(work.resolve("emf.tsv").toFile())) {
            figures.forEach(out::println);
        }
        System.out.printf("EMF: %.1f s of CPU time while measuring, and %.1f s of its garbage collector%n",
                stopwatch.totalMilliseconds() / 1e3, collected / 1e3);
    }

    private void compare(RealModel model) throws IOException, Different {
        XMLResource original = (XMLResource) model.load(Form.XMI, model.document);
        int elements = model.countStored(original);
        if (elements != counts.get(model.name)) {
            throw new Different(model.name + ": EMF has " + elements + " elements, kr0 " + counts.get(model.name));
        }
        byte[] returned = Files.readAllBytes(work.resolve(model.name + ".returned.xmi"));
        if (!model.areEqual(original, model.load(Form.XMI, returned))) {
            throw new Different(model.name + ": what went through the direct format is another model to EMF");
        }
        for (Form form : Form.values()) {
            String failure = model.findFailure(form, original);
            if (failure == null) continue;
            model.forms.remove(form);
            System.out.println("left out   " + model.name + ": " + form.label + ": " + failure);
        }
    }

    private void measure(RealModel model) throws IOException {
        for (Form form : model.forms) {
            Resource holder = model.hold(form);
            byte[] saved = model.save(form, holder);
            byte[] source = form == Form.XMI ? model.document : saved;
            add(model, form, "bytes", source.length);
            add(model, form, "read", stopwatch.median(() -> model.load(form, source)));
            add(model, form, "write", stopwatch.median(() -> model.save(form, holder)));
        }
    }

    private void add(RealModel model, Form form, String operation, double value) {
        figures.add(model.name + "\t" + form.label + "\t" + operation + "\t" + value);
    }

    /** One model with its meta model, and the options that are kept from one loading to the next. */
    private static final class RealModel {
        final String name;
        final byte[] document;
        final List<Form> forms = new ArrayList<>(Arrays.asList(Form.values()));
        private final EPackage.Registry packages = new EPackageRegistryImpl();
        private final Map<Object, Object> xmiLoad = new HashMap<>();
        private final Map<Object, Object> xmiSave = new HashMap<>();

        RealModel(String name, Path document, Path metaModel) throws IOException {
            this.name = name;
            this.document = Files.readAllBytes(document);
            packages.put(EcorePackage.eNS_URI, EcorePackage.eINSTANCE);
            packages.put(XMLTypePackage.eNS_URI, XMLTypePackage.eINSTANCE);
            byte[] meta = Files.readAllBytes(metaModel);
            fillOptions(meta);
            registerPackages(load(Form.XMI, meta).getContents());
        }

        /** What EMF's own advice on speed names for XMI. */
        private void fillOptions(byte[] metaModel) {
            xmiLoad.put(XMLResource.OPTION_DEFER_IDREF_RESOLUTION, Boolean.TRUE);
            xmiLoad.put(XMLResource.OPTION_DEFER_ATTACHMENT, Boolean.TRUE);
            xmiLoad.put(XMLResource.OPTION_DISABLE_NOTIFY, Boolean.TRUE);
            xmiLoad.put(XMLResource.OPTION_USE_DEPRECATED_METHODS, Boolean.FALSE);
            // Without its cache of handlers: with deferred references these keep some of the document before.
            xmiLoad.put(XMLResource.OPTION_USE_PARSER_POOL, new XMLParserPoolImpl());
            xmiSave.put(XMLResource.OPTION_CONFIGURATION_CACHE, Boolean.TRUE);
            xmiSave.put(XMLResource.OPTION_USE_CACHED_LOOKUP_TABLE, new ArrayList<>());
            xmiSave.put(XMLResource.OPTION_USE_DEPRECATED_METHODS, Boolean.FALSE);
            // Costs look-ups, so only where names in XML differ from those of the meta model.
            if (new String(metaModel, java.nio.charset.StandardCharsets.ISO_8859_1)
                    .contains(ExtendedMetaData.ANNOTATION_URI)) {
                ExtendedMetaData metaData = new BasicExtendedMetaData(packages);
                xmiLoad.put(XMLResource.OPTION_EXTENDED_META_DATA, metaData);
                xmiSave.put(XMLResource.OPTION_EXTENDED_META_DATA, metaData);
            }
        }

        private void registerPackages(Collection<? extends EObject> roots) {
            for (EObject root : roots) {
                if (!(root instanceof EPackage)) continue;
                EPackage found = (EPackage) root;
                // Ecore itself stays the compiled one: EMF knows no other.
                if (found.getNsURI() != null) packages.putIfAbsent(found.getNsURI(), found);
                registerPackages(found.getESubpackages());
            }
            // A map of names from before the packages were known would keep what it did not find.
            xmiLoad.put(XMLResource.OPTION_USE_XML_NAME_TO_FEATURE_MAP, new HashMap<>());
        }

        private static Map<Object, Object> binaryOptions(Form form) {
            Map<Object, Object> options = new HashMap<>();
            options.put(BinaryResourceImpl.OPTION_BUFFER_CAPACITY, BUFFER_CAPACITY);
            options.put(BinaryResourceImpl.OPTION_INTERNAL_BUFFER_CAPACITY, BUFFER_CAPACITY);
            if (form == Form.BINARY_1_0) {
                options.put(BinaryResourceImpl.OPTION_VERSION, BinaryResourceImpl.BinaryIO.Version.VERSION_1_0);
                return options;
            }
            options.put(BinaryResourceImpl.OPTION_VERSION, BinaryResourceImpl.BinaryIO.Version.VERSION_1_1);
            options.put(BinaryResourceImpl.OPTION_STYLE_BINARY_FLOATING_POINT, Boolean.TRUE);
            options.put(BinaryResourceImpl.OPTION_STYLE_BINARY_DATE, Boolean.TRUE);
            options.put(BinaryResourceImpl.OPTION_STYLE_BINARY_ENUMERATOR, Boolean.TRUE);
            options.put(BinaryResourceImpl.OPTION_STYLE_DATA_CONVERTER, Boolean.TRUE);
            return options;
        }

        /** A resource set that opens nothing by itself: what is in no registry stays a proxy. */
        private Resource newResource(Form form) {
            ResourceSet resources = new ResourceSetImpl() {
                @Override
                public Resource getResource(URI uri, boolean loadOnDemand) {
                    return super.getResource(uri, false);
                }
            };
            ((ResourceSetImpl) resources).setPackageRegistry(packages);
            Resource resource = form == Form.XMI ? newXmiResource() : new BinaryResourceImpl(PLACE);
            resources.getResources().add(resource);
            return resource;
        }

        private static XMIResourceImpl newXmiResource() {
            XMIResourceImpl resource = new XMIResourceImpl(PLACE);
            resource.setEncoding("UTF-8");
            // Without this map every look-up of an identity attribute walks the whole document.
            resource.setIntrinsicIDToEObjectMap(new HashMap<>());
            return resource;
        }

        Resource load(Form form, byte[] bytes) throws IOException {
            Resource resource = newResource(form);
            resource.load(new ByteArrayInputStream(bytes), form == Form.XMI ? xmiLoad : binaryOptions(form));
            return resource;
        }

        byte[] save(Form form, Resource resource) throws IOException {
            ByteArrayOutputStream out = new ByteArrayOutputStream(document.length);
            resource.save(out, form == Form.XMI ? xmiSave : binaryOptions(form));
            return out.toByteArray();
        }

        /** The model in a resource that saves in a form. */
        Resource hold(Form form) throws IOException {
            Resource original = load(Form.XMI, document);
            if (form == Form.XMI) return original;
            Resource holder = newResource(form);
            holder.getContents().addAll(original.getContents());
            return holder;
        }

        /** What keeps EMF from giving this model back in a form, or null. */
        String findFailure(Form form, XMLResource original) {
            try {
                Resource again = load(form, save(form, hold(form)));
                return areEqual(original, again) ? null : "EMF reads another model than it wrote";
            } catch (IOException | RuntimeException | StackOverflowError failure) {
                return failure.toString();
            }
        }

        boolean areEqual(Resource a, Resource b) {
            return new EcoreUtil.EqualityHelper().equals((List<EObject>) a.getContents(), (List<EObject>) b.getContents());
        }

        /** Without the generic types that EMF derives from plain ones and does not store. */
        int countStored(Resource resource) {
            int count = 0;
            for (TreeIterator<EObject> all = resource.getAllContents(); all.hasNext();) {
                EObject element = all.next();
                if (element.eContainer() != null && !element.eContainer().eIsSet(element.eContainmentFeature())) {
                    all.prune();
                } else {
                    count++;
                }
            }
            return count;
        }
    }

    /** CPU time of this thread: other programs do not add to it, nor do the compiler and the collector. */
    private static final class Stopwatch {
        private static final double MILLISECOND = 1e6;
        private static final double WARM_UP = 100;
        private static final double LEAST_TOTAL = 120;
        private static final int LEAST_RUNS = 7;
        private static final double SAMPLE = 20;
        private final ThreadMXBean threads = ManagementFactory.getThreadMXBean();
        private double total;

        interface Work {
            Object run() throws IOException;
        }

        double median(Work work) throws IOException {
            double warm = 0;
            for (int i = 0; i < 3 || warm < WARM_UP; i++) warm += time(work);
            List<Double> times = new ArrayList<>();
            double sum = 0;
            for (; times.size() < LEAST_RUNS || sum < LEAST_TOTAL; sum += times.get(times.size() - 1)) {
                times.add(time(work));
            }
            times.sort(null);
            return times.get(times.size() / 2);
        }

        /** The mean of so many runs that the clock is exact enough. */
        double sample(Work work) throws IOException {
            double sum = time(work);
            int runs = 1;
            for (; sum < SAMPLE; runs++) sum += time(work);
            return sum / runs;
        }

        private double time(Work work) throws IOException {
            long start = threads.getCurrentThreadCpuTime();
            Object result = work.run();
            double time = (threads.getCurrentThreadCpuTime() - start) / MILLISECOND;
            if (result == null) throw new IllegalStateException("nothing was done");
            total += time;
            return time;
        }

        double totalMilliseconds() {
            return total;
        }

        long collectorMilliseconds() {
            long sum = 0;
            for (GarbageCollectorMXBean bean : ManagementFactory.getGarbageCollectorMXBeans()) {
                sum += bean.getCollectionTime();
            }
            return sum;
        }
    }
}
