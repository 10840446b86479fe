import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import java.util.concurrent.FutureTask;
import org.eclipse.emf.common.util.TreeIterator;
import org.eclipse.emf.common.util.URI;
import org.eclipse.emf.ecore.EAttribute;
import org.eclipse.emf.ecore.EObject;
import org.eclipse.emf.ecore.EPackage;
import org.eclipse.emf.ecore.EReference;
import org.eclipse.emf.ecore.EStructuralFeature;
import org.eclipse.emf.ecore.EcorePackage;
import org.eclipse.emf.ecore.resource.Resource;
import org.eclipse.emf.ecore.resource.ResourceSet;
import org.eclipse.emf.ecore.resource.impl.ResourceSetImpl;
import org.eclipse.emf.ecore.util.BasicExtendedMetaData;
import org.eclipse.emf.ecore.util.EcoreUtil;
import org.eclipse.emf.ecore.xmi.XMLResource;
import org.eclipse.emf.ecore.xmi.impl.XMIResourceFactoryImpl;
import org.eclipse.emf.ecore.xmi.impl.XMLResourceImpl;
import org.eclipse.emf.ecore.xml.type.XMLTypePackage;

/**
 * Says whether two XMI documents hold the same model, in the judgement of EMF.
 *
 * <pre>java Compare [-m META.ecore]... FIRST SECOND</pre>
 *
 * Prints the number of elements, or the first difference. Exit code 0: equal, 1: different,
 * 2: one of the files cannot be loaded.
 */
public final class Compare {
    /** EcoreUtil's comparison follows references by recursion, so its depth is that of the model's graph. */
    private static final long STACK_BYTES = 4L << 30;

    private final EPackage.Registry packages;

    private Compare(List<String> metaModels) throws IOException {
        ResourceSet resources = newResourceSet(null);
        packages = resources.getPackageRegistry();
        for (String path : metaModels) {
            registerPackages(load(resources, URI.createFileURI(path), path).getContents());
        }
    }

    public static void main(String[] arguments) throws Exception {
        FutureTask<Integer> comparison = new FutureTask<>((Callable<Integer>) () -> run(arguments));
        new Thread(null, comparison, "compare", STACK_BYTES).start();
        System.exit(comparison.get());
    }

    private static int run(String[] arguments) {
        List<String> metaModels = new ArrayList<>();
        int next = 0;
        while (next + 1 < arguments.length && arguments[next].equals("-m")) {
            metaModels.add(arguments[next + 1]);
            next += 2;
        }
        if (arguments.length - next != 2) {
            System.out.println("usage: Compare [-m META.ecore]... FIRST SECOND");
            return 2;
        }
        try {
            return new Compare(metaModels).compareFiles(arguments[next], arguments[next + 1]);
        } catch (IOException | RuntimeException failure) {
            System.out.println("cannot load: " + failure);
            return 2;
        }
    }

    private int compareFiles(String first, String second) throws IOException {
        // Both are loaded as if they lay in one place, so that a relative URI to a third document is the
        // same URI in both.
        URI place = URI.createURI("models:/document.xmi");
        XMLResource a = load(newResourceSet(packages), place, first);
        XMLResource b = load(newResourceSet(packages), place, second);
        String difference = findDifference(a, b);
        System.out.println(difference == null ? countElements(a) + " elements" : difference);
        return difference == null ? 0 : 1;
    }

    /** A resource set that opens nothing by itself: what is in no registry stays a proxy. */
    private static ResourceSet newResourceSet(EPackage.Registry packages) {
        ResourceSetImpl resources = new ResourceSetImpl() {
            @Override
            public Resource getResource(URI uri, boolean loadOnDemand) {
                return super.getResource(uri, false);
            }
        };
        resources.getResourceFactoryRegistry().getExtensionToFactoryMap().put("*", new XMIResourceFactoryImpl());
        EPackage.Registry registry = resources.getPackageRegistry();
        registry.put(EcorePackage.eNS_URI, EcorePackage.eINSTANCE);
        registry.put(XMLTypePackage.eNS_URI, XMLTypePackage.eINSTANCE);
        if (packages != null) registry.putAll(packages);
        return resources;
    }

    private void registerPackages(List<? extends EObject> roots) {
        for (EObject root : roots) {
            if (!(root instanceof EPackage)) continue;
            EPackage found = (EPackage) root;
            // Ecore's own packages stay the compiled ones: their elements are objects of those classes.
            if (found.getNsURI() != null) packages.putIfAbsent(found.getNsURI(), found);
            registerPackages(found.getESubpackages());
        }
    }

    private static XMLResource load(ResourceSet resources, URI uri, String path) throws IOException {
        XMLResource resource = (XMLResource) resources.createResource(uri);
        // Without this map every look-up of an identity attribute walks the whole document.
        ((XMLResourceImpl) resource).setIntrinsicIDToEObjectMap(new HashMap<>());
        Map<Object, Object> options = new HashMap<>();
        options.put(XMLResource.OPTION_EXTENDED_META_DATA,
                new BasicExtendedMetaData(resources.getPackageRegistry()));
        options.put(XMLResource.OPTION_DEFER_IDREF_RESOLUTION, Boolean.TRUE);
        try (InputStream in = new FileInputStream(path)) {
            resource.load(in, options);
        }
        return resource;
    }

    private static String findDifference(XMLResource a, XMLResource b) {
        FirstDifference equality = new FirstDifference();
        if (!equality.equals((List<EObject>) a.getContents(), (List<EObject>) b.getContents())) {
            return equality.describe();
        }
        return findIdDifference(a, b);
    }

    /** EcoreUtil does not look at xmi:id, which belongs to the resource and not to the element. */
    private static String findIdDifference(XMLResource a, XMLResource b) {
        TreeIterator<EObject> inB = b.getAllContents();
        for (TreeIterator<EObject> inA = a.getAllContents(); inA.hasNext();) {
            EObject element = inA.next();
            String idA = a.getID(element);
            String idB = b.getID(inB.next());
            if (idA == null ? idB != null : !idA.equals(idB)) {
                return pathOf(element) + " xmi:id: " + idA + " != " + idB;
            }
        }
        return null;
    }

    private static int countElements(Resource resource) {
        int count = 0;
        for (TreeIterator<EObject> all = resource.getAllContents(); all.hasNext(); all.next()) count++;
        return count;
    }

    private static String pathOf(EObject element) {
        return EcoreUtil.getURI(element).fragment();
    }

    /** EcoreUtil's comparison, which keeps the place where it first said no. */
    private static final class FirstDifference extends EcoreUtil.EqualityHelper {
        private static final long serialVersionUID = 1L;
        private String place;

        String describe() {
            return place == null ? "the documents have different roots" : place;
        }

        @Override
        protected boolean haveEqualFeature(EObject a, EObject b, EStructuralFeature feature) {
            if (super.haveEqualFeature(a, b, feature)) return true;
            if (place == null) {
                place = pathOf(a) + " " + feature.getName() + ": " + show(a, feature) + " != " + show(b, feature);
            }
            return false;
        }

        private static String show(EObject element, EStructuralFeature feature) {
            if (!element.eIsSet(feature)) return "unset";
            Object value = element.eGet(feature);
            if (feature instanceof EAttribute) return String.valueOf(value);
            if (((EReference) feature).isMany()) return showAll((List<?>) value);
            return showTarget(value);
        }

        private static String showAll(List<?> targets) {
            StringBuilder text = new StringBuilder("[" + targets.size() + ":");
            for (Object target : targets.subList(0, Math.min(5, targets.size()))) {
                text.append(' ').append(showTarget(target));
            }
            return text.append(targets.size() > 5 ? " ...]" : "]").toString();
        }

        private static String showTarget(Object target) {
            return target instanceof EObject ? EcoreUtil.getURI((EObject) target).toString() : String.valueOf(target);
        }
    }
}
